#include "tool/sources/unpack/Unpacker.h"

#include "tool/sources/unpack/Input.h"
#include "tool/sources/unpack/TarStream.h"

#include "sdk/set/FileKinds.h"

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace unpack {

namespace {

using zel::frames::Damage;
using zel::frames::Frame;
using zel::frames::FrameWriter;
using zel::frames::Header;
using zel::frames::MemberKind;
using zel::frames::MemberNames;
using zel::frames::Trouble;

/// How often an archive is opened again to go on after a damaged member. In a solid one everything
/// before it is unpacked again.
constexpr int mostAttempts = 30;

/// The files with the sums of others.
constexpr std::string_view sums = "SHA256SUMS";
constexpr std::string_view signedSums = "SHA256SUMS.asc";

/// Thrown when it cannot go on; caught where the last frame is written.
struct Stop {
    Trouble trouble;
    std::uint64_t number;
    std::string text;
};

/// Thrown when nobody reads the pipe any more.
struct ReaderIsGone {};

/// What is done with a member.
enum class Use { none, name, whole };

la_ssize_t readStream(archive* reader, void* stream, void const** bytes) {
    auto const piece = static_cast<TarStream*>(stream)->next();
    if (!piece) {
        archive_set_error(reader, EIO, "The compressed data are damaged");
        return ARCHIVE_FATAL;
    }
    *bytes = piece->data();
    return static_cast<la_ssize_t>(piece->size());
}

std::string_view baseName(std::string_view path) {
    auto const slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool isDescription(std::string_view name, unsigned long owner) {
    return zel::set::inProperCase(name) == zel::set::descriptionName(owner).view();
}

/// @return Empty when the name cannot be told in the locale's encoding.
std::string pathOf(archive_entry* entry) {
    char const* const path = archive_entry_pathname(entry);
    return path != nullptr ? path : "";
}

/// @return What the library says of its failure; empty when it says nothing.
std::string errorOf(archive* reader) {
    char const* const text = archive_error_string(reader);
    return text != nullptr ? text : "";
}

std::string_view withoutDot(std::string_view path) {
    return path.substr(0, 2) == "./" ? path.substr(2) : path;
}

/// One reading of an archive.
class Reading {
public:
    Reading(int archive, Wanted const& wanted, FrameWriter const& out)
        : m_input(archive), m_compression(compressionOf(m_input)), m_wanted(wanted), m_out(out),
          m_bytes(zel::frames::largestData) {}

    /// @return How many members were told.
    std::uint64_t run() {
        for (int attempt = 0; !readOn(); ++attempt) {
            if (attempt == mostAttempts)
                throw Stop{Trouble::spoilt, 0, "Too many members are damaged"};
        }
        if (!m_links.empty())
            readTargets();
        return m_told;
    }

private:
    /// Reads on behind the members that are done.
    /// @return Whether the end was reached; otherwise a damaged member keeps the library from going
    ///         on, and the archive has to be opened again.
    bool readOn() {
        open();
        std::uint64_t index = 0;
        for (;; ++index) {
            archive_entry* entry = nullptr;
            int const result = archive_read_next_header(m_archive.get(), &entry);
            if (result == ARCHIVE_EOF)
                break;
            if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
                stop();
            if (index < m_done)
                continue;
            ++m_done;
            if (!tell(entry))
                return false;
            if (m_stream)
                archive_read_data_skip(m_archive.get()); // a failure shows at the next header
            m_endOfMembers = archive_filter_bytes(m_archive.get(), 0);
        }
        if (m_stream && index == 0) // any file that begins with zeros looks like it
            throw Stop{Trouble::noArchive, 0, "It holds nothing"};
        if (m_stream)
            finishTar();
        return true;
    }

    void open() {
        m_input.moveTo(0);
        m_archive = newReader();
        archive* const reader = m_archive.get();
        archive_read_support_format_tar(reader);
        if (m_compression == Compression::none && !isTar()) {
            archive_read_support_format_zip_seekable(reader);
            archive_read_support_format_7zip(reader);
            m_input.openWith(reader, true); // a failure shows at the first header
            return;
        }
        m_stream.emplace(m_input, m_compression);
        archive_read_open(reader, &*m_stream, nullptr, readStream, nullptr);
    }

    /// Nothing but a tar archive is read as a stream, so that its end can be looked at.
    bool isTar() {
        ArchiveReader const reader = newReader();
        archive_entry* entry = nullptr;
        archive_read_support_format_tar(reader.get());
        bool const is =
            m_input.openWith(reader.get(), true) == ARCHIVE_OK &&
            archive_read_next_header(reader.get(), &entry) >= ARCHIVE_WARN &&
            (archive_format(reader.get()) & ARCHIVE_FORMAT_BASE_MASK) == ARCHIVE_FORMAT_TAR;
        m_input.moveTo(0);
        return is;
    }

    /// The library does not read behind the last member. What is compressed has its checksums
    /// there, and a tar archive without its end was cut.
    void finishTar() {
        if (!m_stream->drain())
            stop();
        if (!m_stream->endsAsTar(m_endOfMembers))
            throw Stop{Trouble::cut, 0, "The end of the archive is missing"};
    }

    /// @return Whether the library can go on.
    bool tell(archive_entry* entry) {
        MemberNames names;
        names.path = pathOf(entry);
        if (names.path.empty())
            return tellNameless(entry);
        Use const use = useOf(baseName(names.path));
        auto const type = archive_entry_filetype(entry);
        char const* const target = archive_entry_hardlink(entry);
        if (use == Use::none || (type == AE_IFDIR && target == nullptr))
            return true;
        names.seconds = archive_entry_mtime(entry);
        names.nanoseconds =
            static_cast<std::uint32_t>(archive_entry_mtime_nsec(entry)) % zel::frames::secondInNano;
        bool const isHardLink =
            target != nullptr && *target != '\0' && archive_entry_size(entry) == 0;
        if (isHardLink) {
            names.target = target;
            link(names, entry);
        } else if (type == AE_IFLNK) {
            begin(MemberKind::link, names, entry);
        } else if (type != AE_IFREG) {
            begin(MemberKind::other, names, entry);
        } else if (use == Use::name) {
            begin(MemberKind::nameOnly, names, entry);
        } else {
            if (archive_entry_is_encrypted(entry) != 0)
                throw Stop{Trouble::encrypted, 0, ""};
            m_unpacked.emplace(withoutDot(names.path));
            begin(MemberKind::file, names, entry);
            return sendBytes();
        }
        return true;
    }

    /// What it is cannot be said, but that it is there. Once is enough.
    bool tellNameless(archive_entry* entry) {
        MemberNames names;
        names.path = zel::frames::nameless;
        if (!std::exchange(m_isNameless, true))
            begin(MemberKind::other, names, entry);
        return true;
    }

    /// Another name of an earlier member. One that was not unpacked, since its own name is not
    /// wanted, is so later under this name.
    void link(MemberNames const& names, archive_entry* entry) {
        std::string const target(withoutDot(names.target));
        if (m_unpacked.count(target) == 0) {
            m_links[target].push_back(names);
            return;
        }
        m_unpacked.emplace(withoutDot(names.path));
        begin(MemberKind::hardLink, names, entry);
    }

    /// Reads the archive once more, for members that links stand for. Only a tar has links.
    void readTargets() {
        open();
        archive_entry* entry = nullptr;
        while (!m_links.empty()) {
            int const result = archive_read_next_header(m_archive.get(), &entry);
            if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
                break;
            auto const links = m_links.find(std::string(withoutDot(pathOf(entry))));
            bool const isFile = links != m_links.end() &&
                                archive_entry_filetype(entry) == AE_IFREG &&
                                archive_entry_hardlink(entry) == nullptr;
            if (isFile)
                tellTarget(links, entry);
        }
        for (auto const& [target, names] : m_links) {
            for (MemberNames const& name : names)
                begin(MemberKind::hardLink, name, nullptr);
        }
    }

    void tellTarget(std::map<std::string, std::vector<MemberNames>>::iterator links,
                    archive_entry* entry) {
        std::vector<MemberNames> names = std::move(links->second);
        m_links.erase(links);
        std::string const first = names.front().path;
        names.front().target.clear();
        begin(MemberKind::file, names.front(), entry);
        sendBytes();
        for (std::size_t i = 1; i < names.size(); ++i) {
            names[i].target = first;
            begin(MemberKind::hardLink, names[i], nullptr);
        }
    }

    Use useOf(std::string_view name) const {
        auto const owner = zel::set::ownerOf(name);
        if (m_wanted.namesOnly)
            return owner && isDescription(name, *owner) ? Use::name : Use::none;
        if (!owner)
            return name == sums || name == signedSums ? Use::whole : Use::none;
        if (m_wanted.serial == 0 || *owner == m_wanted.serial)
            return Use::whole;
        return isDescription(name, *owner) ? Use::name : Use::none;
    }

    void begin(MemberKind kind, MemberNames const& names, archive_entry* entry) {
        Header header;
        header.type = Frame::member;
        header.kind = static_cast<std::uint8_t>(kind);
        header.member = static_cast<std::uint32_t>(m_told++);
        bool const isKnown = entry != nullptr && archive_entry_size_is_set(entry) != 0 &&
                             archive_entry_size(entry) >= 0;
        header.number = isKnown ? static_cast<std::uint64_t>(archive_entry_size(entry))
                                : zel::frames::unknownSize;
        send(header, payloadOf(names));
    }

    /// @return Whether the library can go on.
    bool sendBytes() {
        Header header;
        header.member = static_cast<std::uint32_t>(m_told - 1);
        for (;;) {
            la_ssize_t const count =
                archive_read_data(m_archive.get(), m_bytes.data(), m_bytes.size());
            if (count < 0)
                return sendDamage(static_cast<int>(count));
            header.type = count > 0 ? Frame::data : Frame::end;
            send(header, {m_bytes.data(), static_cast<std::size_t>(count)});
            if (count == 0)
                return true;
            header.number += static_cast<std::uint64_t>(count);
        }
    }

    /// A member of a compressed stream that cannot be read on has none behind it.
    bool sendDamage(int result) {
        bool const isFatal = result != ARCHIVE_WARN && result != ARCHIVE_FAILED;
        if (isFatal &&
            (m_stream || m_input.error() != 0 || archive_errno(m_archive.get()) == ENOMEM))
            stop();
        Header header;
        header.type = Frame::broken;
        header.kind = static_cast<std::uint8_t>(isFatal ? Damage::undecodable : Damage::checksum);
        header.member = static_cast<std::uint32_t>(m_told - 1);
        send(header, errorOf(m_archive.get()));
        return !isFatal;
    }

    void send(Header const& header, std::string_view payload) {
        if (!m_out.write(header, payload))
            throw ReaderIsGone();
    }

    /// Stops because the library cannot go on.
    [[noreturn]] void stop() {
        archive* const reader = m_archive.get();
        Stop stopped{Trouble::spoilt, 0, errorOf(reader)};
        if (m_input.error() != 0) {
            stopped.trouble = Trouble::unreadable;
            stopped.number = static_cast<std::uint64_t>(m_input.error());
        } else if (m_stream && m_stream->isDamaged()) {
            stopped.text = "The compressed data are damaged";
        } else if (archive_errno(reader) == ENOMEM) {
            stopped.trouble = Trouble::noMemory; // GCOVR_EXCL_LINE: takes an archive of gigabytes
        } else if (archive_format(reader) == 0) {
            stopped.trouble = Trouble::noArchive; // the library cannot be asked more about it
        } else if (archive_read_has_encrypted_entries(reader) > 0) {
            stopped.trouble = Trouble::encrypted;
        }
        throw Stop(stopped);
    }

    Input m_input;
    Compression m_compression;
    Wanted m_wanted;
    FrameWriter const& m_out;
    std::vector<char> m_bytes;
    std::optional<TarStream> m_stream;
    ArchiveReader m_archive;  // after what it reads from
    std::uint64_t m_done = 0; // members of the archive
    std::uint64_t m_told = 0;
    bool m_isNameless = false;                               // something was
    std::set<std::string> m_unpacked;                        // paths
    std::map<std::string, std::vector<MemberNames>> m_links; // to what was not, by its path
    std::int64_t m_endOfMembers = 0;                         // of a tar
};

void writeLast(FrameWriter const& out, Trouble trouble, std::uint64_t number,
               std::string_view text) noexcept {
    Header header;
    header.type = Frame::failed;
    header.kind = static_cast<std::uint8_t>(trouble);
    header.number = number;
    out.write(header, text);
}

} // namespace

void unpack(int archive, Wanted const& wanted, FrameWriter const& out) noexcept try {
    Header header;
    header.type = Frame::done;
    header.number = Reading(archive, wanted, out).run();
    out.write(header);
} catch (Stop const& stopped) {
    writeLast(out, stopped.trouble, stopped.number, stopped.text);
} catch (std::bad_alloc const&) {
    writeLast(out, Trouble::noMemory, 0, ""); // GCOVR_EXCL_LINE: no test lets it run out
} catch (...) {
    // Nobody is left who could be told.
}

} // namespace unpack
