/// @file
/// Reading an archive through the program that unpacks it.
#pragma once

#include "store/Archive.h"
#include "store/InstalledFiles.h"
#include "store/Members.h"
#include "store/Program.h"
#include "store/Reporter.h"
#include "store/Sha256.h"
#include "store/SourceTree.h"
#include "store/Stage.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zel::store {

/// One pass through an archive. Descriptions and sums are kept in memory; of other files size and
/// hash are, and their bytes go into a stage, if there is one.
class Unpacking {
public:
    /// Starts the program.
    /// @param archive  The archive. Must outlive this.
    /// @param wanted   A serial number, "all" or "names".
    /// @param programs Where the program is.
    /// @param reporter Told of the bytes. Must outlive this.
    /// @throws Stop
    Unpacking(Archive const& archive, std::string const& wanted, Programs const& programs,
              Reporter& reporter);

    /// Reads on while every file equals the installed one of its name. Nothing is written.
    /// @param installed What is installed.
    /// @return Whether the end was reached; otherwise readRest() goes on from here.
    /// @throws Stop
    bool readWhileSame(InstalledFiles const& installed);

    /// Reads the rest, and keeps the bytes of no file.
    /// @param mostBytes Stops for want of room when the files have more. @throws Stop
    void readRest(std::uint64_t mostBytes);

    /// Reads the rest into a stage, but for files that equal the installed ones of their names.
    /// @param installed What is installed; null to stage all.
    /// @param mostBytes Stops for want of room when more are staged. @throws Stop
    void readRest(Stage& stage, InstalledFiles const* installed, std::uint64_t mostBytes);

    /// @return What was found. For once, at the end.
    SourceTree tree() { return SourceTree(std::move(m_members)); }

private:
    struct Current;

    bool run();
    bool take(MemberEvent const& event);
    void takeSandbox(MemberEvent const& event);
    bool begin(MemberEvent const& event);
    bool beginFile(MemberEvent const& event);
    bool add(MemberEvent const& event);
    bool end();
    void breakOff(MemberEvent const& event);
    void link(frames::MemberNames const& names);
    [[noreturn]] void fail(MemberEvent const& event);
    [[noreturn]] void failWithoutReason();

    void stageFromHere();
    void copy(OpenedFile const& from, std::uint64_t size, std::string const& path,
              Stage::Incoming& to);
    void charge(std::uint64_t bytes);
    void requireRoomFor(std::uint64_t bytes) const;
    void findInstalled(InstalledFiles const* installed);
    void noteText();
    void note(std::shared_ptr<Held const> held);
    void leaveOut(std::string const& path, unsigned long owner, char const* message);
    bool isWanted(unsigned long owner) const noexcept { return m_serial == 0 || owner == m_serial; }
    std::string shown(std::string const& path) const { return m_archive.path() + "/" + path; }

    Archive const& m_archive;
    unsigned long m_serial; // 0: every camera
    Reporter& m_reporter;
    Program m_program;
    Members m_stream{1};
    HeldMembers m_members;

    std::optional<MemberEvent> m_heldUp; // what needs a stage
    std::unique_ptr<Current> m_current;
    std::map<std::string, std::shared_ptr<Held const>> m_byPath;
    std::uint64_t m_keptBytes = 0; // in memory
    std::uint64_t m_frames = 0;
    bool m_isConfined = false;

    InstalledFiles const* m_installed = nullptr;
    std::map<std::string, std::string> m_installedNames; // by name in small letters
    Stage* m_stage = nullptr;
    bool m_onlyWhileSame = false;
    std::uint64_t m_mostBytes = 0;
    std::uint64_t m_bytes = 0;

public:
    ~Unpacking();
    Unpacking(Unpacking const&) = delete;
    Unpacking& operator=(Unpacking const&) = delete;
};

/// The most bytes of files that are read where none are kept: a bomb has to end.
constexpr std::uint64_t mostHashed = std::uint64_t{1} << 40U;

/// Reads a whole archive, and keeps the bytes of no file.
/// @param wanted    A serial number, "all" or "names".
/// @param mostBytes Stops for want of room when the files have more.
/// @return What it holds. The other parameters are those of Unpacking. @throws Stop
SourceTree treeOf(Archive const& archive, std::string const& wanted, Programs const& programs,
                  Reporter& reporter, std::uint64_t mostBytes = mostHashed);

} // namespace zel::store
