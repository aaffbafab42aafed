#include "store/Unpacking.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Lines.h"
#include "store/Stop.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

namespace zel::store {

namespace {

using frames::Damage;
using frames::Frame;
using frames::MemberKind;
using frames::Trouble;

constexpr char const* unpacker = "zentho-cali-unpack";

/// The largest file that is kept in memory, and the most that all of them may take with their
/// names.
constexpr std::uint64_t largestText = std::uint64_t{16} * 1024 * 1024;
constexpr std::uint64_t mostKept = std::uint64_t{256} * 1024 * 1024;

/// How many frames come between two questions whether to go on: they may bring nothing.
constexpr std::uint64_t askEvery = 1000;

bool isSums(std::string_view name) noexcept {
    return name == sumsName || name == signedSumsName;
}

/// What leads nowhere in a path is left out, so that one member has one path.
std::string withoutDots(std::string_view path) {
    std::string plain;
    while (!path.empty()) {
        auto const slash = std::min(path.find('/'), path.size());
        std::string_view const part = path.substr(0, slash);
        path.remove_prefix(std::min(slash + 1, path.size()));
        if (!part.empty() && part != ".")
            plain.append(plain.empty() ? "" : "/").append(part);
    }
    return plain;
}

bool isHidden(std::string const& folder) {
    return ("/" + folder + "/").find("/" + std::string(hiddenName) + "/") != std::string::npos;
}

bool describes(std::string_view name, unsigned long owner) {
    return set::inProperCase(name) == set::descriptionName(owner).view();
}

Trouble troubleOf(MemberEvent const& event) noexcept {
    return static_cast<Trouble>(event.header.kind);
}

char const* sentenceFor(Damage damage) noexcept {
    switch (damage) {
    case Damage::checksum:
        return "Its bytes are not those that were packed.";
    case Damage::undecodable:
        return "It cannot be unpacked.";
    default:
        return "It cannot be had.";
    }
}

char const* messageFor(Trouble trouble) noexcept {
    switch (trouble) {
    case Trouble::noArchive:
        return "This is no archive that can be read (zip, 7z, tar):";
    case Trouble::encrypted:
        return "The archive is encrypted:";
    case Trouble::cut:
        return "The archive ends too early:";
    case Trouble::spoilt:
        return "The archive is damaged and cannot be read to its end:";
    case Trouble::noMemory:
        return "The archive takes too much memory to unpack:";
    default:
        return "The archive cannot be read:";
    }
}

} // namespace

/// The member that passes by.
struct Unpacking::Current {
    SourceFile file;
    std::optional<unsigned long> owner;
    timespec time{};
    bool isIgnored = false;
    bool isText = false;
    std::string text;
    std::uint64_t size = 0;
    Sha256 sum;                     // unless it is staged
    std::optional<OpenedFile> same; // the installed file, while their bytes are equal
    std::string samePath;
    std::optional<Stage::Incoming> incoming;
};

Unpacking::Unpacking(Archive const& archive, std::string const& wanted, Programs const& programs,
                     Reporter& reporter)
    : m_archive(archive), m_serial(serialFrom(wanted).value_or(0)), m_reporter(reporter),
      m_program(programs, {Profile::unpack,
                           folderOf(programs) + "/" + unpacker,
                           {wanted},
                           {archive.file(), -1, -1}}) {
    m_members.path = archive.path();
}

Unpacking::~Unpacking() = default;

bool Unpacking::readWhileSame(InstalledFiles const& installed) {
    m_reporter.begin(Phase::comparing);
    m_onlyWhileSame = true;
    m_mostBytes = UINT64_MAX;
    findInstalled(&installed);
    return run();
}

void Unpacking::readRest(std::uint64_t mostBytes) {
    m_reporter.begin(Phase::searching);
    m_onlyWhileSame = false;
    m_mostBytes = mostBytes;
    findInstalled(nullptr);
    run();
}

void Unpacking::readRest(Stage& stage, InstalledFiles const* installed, std::uint64_t mostBytes) {
    m_reporter.begin(Phase::copying);
    m_onlyWhileSame = false;
    m_stage = &stage;
    m_mostBytes = mostBytes;
    m_bytes = 0;
    findInstalled(installed);
    run();
}

/// @return Whether the end was reached.
bool Unpacking::run() {
    if (m_heldUp)
        take(*std::exchange(m_heldUp, std::nullopt));
    for (;;) {
        while (auto const event = m_stream.next()) {
            if (++m_frames % askEvery == 0)
                m_reporter.askWhetherToGoOn();
            if (!take(*event)) {
                m_heldUp = event;
                return false;
            }
        }
        if (m_stream.isWrong())
            failWithoutReason();
        std::size_t const count = m_program.read(m_stream.room(), m_stream.roomSize(), m_reporter);
        if (count == 0)
            break;
        m_stream.filled(count);
    }
    if (!m_stream.isComplete())
        failWithoutReason();
    m_program.finish(m_isConfined);
    return true;
}

void Unpacking::failWithoutReason() {
    m_program.finish(m_isConfined);
    stop(FailureKind::unusableSource, "The program that unpacks archives failed on",
         m_archive.path());
}

void Unpacking::fail(MemberEvent const& event) {
    Trouble const trouble = troubleOf(event);
    if (trouble == Trouble::unreadable)
        stop("Cannot read", m_archive.path(),
             static_cast<int>(std::min<std::uint64_t>(event.header.number, INT_MAX)));
    stop(FailureKind::unusableSource, messageFor(trouble), m_archive.path());
}

/// @return Whether to go on; otherwise the event comes again.
bool Unpacking::take(MemberEvent const& event) {
    switch (event.header.type) {
    case Frame::sandbox:
        takeSandbox(event);
        return true;
    case Frame::member:
        return begin(event);
    case Frame::data:
        return add(event);
    case Frame::end:
        return end();
    case Frame::broken:
        breakOff(event);
        return true;
    case Frame::failed:
        fail(event);
    case Frame::restart:
        failWithoutReason();
    case Frame::done:
        return true;
    }
    return true; // GCOVR_EXCL_LINE: there is no other type
}

void Unpacking::takeSandbox(MemberEvent const& event) {
    m_isConfined = true;
    constexpr unsigned int both = frames::byLandlock | frames::bySeccomp;
    if (event.header.kind != both && m_archive.isFirstTime())
        m_members.remarks.push_back(
            {m_archive.path(), "The kernel lacks Landlock or seccomp, so what unpacks this is not "
                               "kept from all that it should not do:"});
}

bool Unpacking::begin(MemberEvent const& event) {
    auto const kind = static_cast<MemberKind>(event.header.kind);
    if (kind == MemberKind::file)
        return beginFile(event);
    std::string const path = withoutDots(event.names->path);
    auto const slash = path.rfind('/');
    std::string const name = slash == std::string::npos ? path : path.substr(slash + 1);
    auto const owner = set::ownerOf(name);
    if (isHidden(path))
        return true;
    if (kind == MemberKind::nameOnly && owner && describes(name, *owner))
        m_members.described.insert(*owner);
    else if (kind == MemberKind::hardLink)
        link(*event.names);
    else if (kind == MemberKind::link && owner)
        leaveOut(path, *owner, "Left out, since it is a link:");
    else if (kind == MemberKind::other && path == frames::nameless)
        m_members.remarks.push_back(
            {m_archive.path(), "Left out, since their names cannot be read, are members of"});
    else if (kind == MemberKind::other && owner)
        leaveOut(path, *owner, "Left out, since it is no file:");
    return true;
}

bool Unpacking::beginFile(MemberEvent const& event) {
    auto current = std::make_unique<Current>();
    std::string const path = withoutDots(event.names->path);
    auto const slash = path.rfind('/');
    if (slash != std::string::npos)
        current->file.folder = path.substr(0, slash);
    current->file.name = slash == std::string::npos ? path : path.substr(slash + 1);
    current->owner = set::ownerOf(current->file.name);
    current->time = {static_cast<time_t>(event.names->seconds),
                     static_cast<long>(event.names->nanoseconds)};
    current->isText = isSums(current->file.name) ||
                      (current->owner && describes(current->file.name, *current->owner));
    bool const isOurs = current->isText || (current->owner && isWanted(*current->owner));
    current->isIgnored = !isOurs || isHidden(current->file.folder);
    bool const needsBytes = !current->isIgnored && !current->isText;
    auto const here = m_installedNames.find(set::inLowerCase(current->file.name));
    if (needsBytes && here != m_installedNames.end()) {
        OpenedFile opened = m_installed->open(here->second);
        bool const mayEqual =
            event.header.number == frames::unknownSize || event.header.number == opened.size();
        if (opened.error == 0 && mayEqual) {
            current->same = std::move(opened);
            current->samePath = m_installed->pathOf(here->second);
        }
    }
    if (needsBytes && !current->same && m_onlyWhileSame)
        return false;
    if (needsBytes && !current->same && event.header.number != frames::unknownSize)
        requireRoomFor(event.header.number);
    m_current = std::move(current);
    if (needsBytes && !m_current->same && m_stage != nullptr)
        stageFromHere();
    return true;
}

/// @return Whether the bytes were taken.
bool Unpacking::add(MemberEvent const& event) {
    Current& current = *m_current;
    std::string_view const bytes = event.bytes;
    if (current.same) {
        std::string here(bytes.size(), '\0');
        ssize_t const count = retried([&] {
            return pread(current.same->file.get(), here.data(), here.size(),
                         static_cast<off_t>(current.size));
        });
        if (count < 0 || here.compare(0, static_cast<std::size_t>(count), bytes) != 0) {
            if (m_onlyWhileSame)
                return false;
            stageFromHere();
        }
    }
    m_reporter.bytesDone(bytes.size());
    if (current.isIgnored)
        return true;
    if (current.isText) {
        if (current.size + bytes.size() <= largestText)
            current.text.append(bytes);
        current.sum.add(bytes);
    } else if (current.incoming) {
        charge(bytes.size());
        current.incoming->add(bytes);
    } else {
        if (!current.same)
            charge(bytes.size());
        current.sum.add(bytes);
    }
    current.size += bytes.size();
    return true;
}

/// @return Whether the end was taken.
bool Unpacking::end() {
    Current& current = *m_current;
    if (current.same && current.same->size() != current.size) {
        if (m_onlyWhileSame)
            return false;
        stageFromHere();
    }
    m_reporter.fileDone();
    if (current.isText && !current.isIgnored)
        noteText();
    if (!current.isIgnored) {
        auto held = std::make_shared<Held>();
        held->size = current.size;
        held->modified = current.time;
        if (current.same)
            held->sameAs = current.same->status;
        if (current.incoming) {
            current.incoming->finish(current.time);
            held->staged = current.incoming->number();
            held->digest = current.incoming->sum();
        } else {
            held->digest = current.sum.finish();
        }
        if (current.isText && current.size > largestText)
            held->damage = "It is too large.";
        note(std::move(held));
    }
    m_current.reset();
    return true;
}

void Unpacking::breakOff(MemberEvent const& event) {
    Current& current = *m_current;
    auto held = std::make_shared<Held>();
    held->damage = sentenceFor(static_cast<Damage>(event.header.kind));
    if (isSums(current.file.name) && !current.isIgnored)
        m_members.damagedSums.emplace(current.file.path(), held->damage);
    else if (!current.isIgnored)
        note(std::move(held));
    m_current.reset();
}

/// Keeps a description or sums. Sums that are there twice all count.
void Unpacking::noteText() {
    Current& current = *m_current;
    bool const isTooLarge = current.size > largestText;
    if (isSums(current.file.name) && isTooLarge)
        m_members.damagedSums.emplace(current.file.path(), "It is too large.");
    if (isTooLarge)
        return;
    auto const [text, isNew] =
        m_members.texts.emplace(current.file.path(), HeldText{current.text, current.time});
    if (!isNew && isSums(current.file.name))
        text->second.bytes.append("\n").append(current.text);
    m_keptBytes += current.text.size();
}

void Unpacking::note(std::shared_ptr<Held const> held) {
    Current& current = *m_current;
    std::string const path = current.file.path();
    m_keptBytes += 2 * path.size() + sizeof(Held);
    if (m_keptBytes > mostKept)
        // GCOVR_EXCL_START: takes hundreds of megabytes of names and descriptions
        stop(FailureKind::unusableSource, "The archive holds too much:", m_archive.path());
    // GCOVR_EXCL_STOP
    m_byPath[path] = held;
    if (!current.owner || isSums(current.file.name))
        return;
    if (describes(current.file.name, *current.owner))
        m_members.described.insert(*current.owner);
    if (!isWanted(*current.owner))
        return;
    current.file.held = std::move(held);
    m_members.files[*current.owner].push_back(std::move(current.file));
}

/// Another name of a member that passed by. Its bytes may be needed under both.
void Unpacking::link(frames::MemberNames const& names) {
    auto current = std::make_unique<Current>();
    std::string const path = withoutDots(names.path);
    auto const slash = path.rfind('/');
    if (slash != std::string::npos)
        current->file.folder = path.substr(0, slash);
    current->file.name = slash == std::string::npos ? path : path.substr(slash + 1);
    current->owner = set::ownerOf(current->file.name);
    std::string const target = withoutDots(names.target);
    auto const found = m_byPath.find(target);
    if (found == m_byPath.end()) {
        if (current->owner)
            leaveOut(path, *current->owner,
                     "Left out, since it is a link to a member that is not unpacked:");
        return;
    }
    auto const text = m_members.texts.find(target);
    if (text != m_members.texts.end())
        m_members.texts.emplace(path, text->second);
    auto held = std::make_shared<Held>(*found->second);
    held->sameAs = {};
    m_current = std::move(current);
    if (held->staged) {
        OpenedFile const original = m_stage->open(*held->staged);
        charge(held->size);
        Stage::Incoming incoming = m_stage->begin();
        copy(original, held->size, shown(target), incoming);
        incoming.finish(original.status.st_mtim);
        held->staged = incoming.number();
    }
    note(std::move(held));
    m_current.reset();
}

/// From here on the member's bytes go into the stage. What passed by already equals the installed
/// file's bytes, which are taken instead.
void Unpacking::stageFromHere() {
    Current& current = *m_current;
    std::optional<OpenedFile> const same = std::exchange(current.same, std::nullopt);
    current.incoming = m_stage->begin();
    if (!same)
        return;
    charge(current.size);
    copy(*same, current.size, current.samePath, *current.incoming);
    if (current.incoming->sum() != current.sum.finish())
        stop("The file changed while it was compared:", current.samePath, EIO);
}

void Unpacking::copy(OpenedFile const& from, std::uint64_t size, std::string const& path,
                     Stage::Incoming& to) {
    if (size == 0)
        return;
    Pieces pieces(from.file.get(), size);
    while (to.size() < size) {
        auto const piece = pieces.next();
        if (!piece || piece->empty())
            stop("The file changed while it was compared:", path, piece ? EIO : errno);
        to.add(piece->substr(0, size - to.size()));
    }
}

void Unpacking::charge(std::uint64_t bytes) {
    requireRoomFor(bytes);
    m_bytes += bytes;
}

void Unpacking::requireRoomFor(std::uint64_t bytes) const {
    if (bytes <= m_mostBytes - m_bytes)
        return;
    if (m_mostBytes == mostHashed)
        stop(FailureKind::unusableSource, "The archive holds too much:", m_archive.path());
    Failure failure;
    failure.kind = FailureKind::noRoom;
    failure.message = "There is not enough room for what this unpacks to:";
    failure.path = m_archive.path();
    failure.error = ENOSPC;
    failure.needed = m_bytes + std::min(bytes, UINT64_MAX - m_bytes);
    failure.available = m_mostBytes;
    throw Stop{std::move(failure)};
}

void Unpacking::findInstalled(InstalledFiles const* installed) {
    m_installed = installed;
    m_installedNames.clear();
    if (installed == nullptr)
        return;
    for (std::string const& name : installed->names()) {
        if (installed->placeOf(name) == Place::file)
            m_installedNames.emplace(set::inLowerCase(name), name);
    }
}

void Unpacking::leaveOut(std::string const& path, unsigned long owner, char const* message) {
    auto& remarks = m_members.leftOut[owner];
    if (remarks.size() < mostRemarks)
        remarks.push_back({shown(path), message});
}

SourceTree treeOf(Archive const& archive, std::string const& wanted, Programs const& programs,
                  Reporter& reporter, std::uint64_t mostBytes) {
    Unpacking unpacking(archive, wanted, programs, reporter);
    unpacking.readRest(mostBytes);
    return unpacking.tree();
}

} // namespace zel::store
