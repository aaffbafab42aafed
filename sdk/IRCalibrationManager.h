/// @file
/// Finds a camera and installs, checks and describes its calibration files.
#pragma once

#include "util/Export.h"

#include <memory>
#include <string>
#include <vector>

namespace zel {

/// A temperature range in whole degrees, its limits truncated toward zero.
struct IRTempRange {
    int tMin; ///< low limit
    int tMax; ///< high limit
};

/// An optic with its temperature ranges, in the description's order.
struct IROptics {
    int fov;                             ///< field of view
    std::vector<IRTempRange> tempRanges; ///< its ranges
    std::string text;                    ///< distinguishing text, empty when there is none
};

/// Creates one directory with mode 0777 less the umask.
/// @param path Directory to create; its parent must exist.
/// @return The result of `mkdir(2)`: 0, or -1 with `errno` set.
ZENTHO_API int mkDir(char const* path) noexcept;

/// Stores the working directory.
/// @param buffer   Receives the path. The size told to `getcwd(3)` is twice the capacity plus one,
///                 so @p buffer needs room for that many characters.
/// @param capacity Capacity in characters.
/// @return @p buffer, or null when the path is longer, unavailable, or @p capacity is negative.
ZENTHO_API char* getFolderPath(char* buffer, short capacity) noexcept;

/// Tests one calibration file and records it when it is missing. A file that can be opened for
/// reading exists, whatever it holds. Creates the directory's last component when that is missing.
/// @param dir      Calibration directory, without a trailing '/'; cut to 260 characters. Empty for
///                 "Imager" in the working directory.
/// @param baseName Name stem of the data set.
/// @param format   A `printf(3)` format that makes the file name of the stem, cut to 259
///                 characters.
/// @param out      Null to add the room for the name and a ';' to @p size; else the terminated list
///                 to append them to. It needs room for both in any case: the file may have
///                 vanished since its room was asked for.
/// @param size     With a list, limits each appended piece as tstrcat() does, and not the list.
ZENTHO_API void _checkCaliFilesHelper(char const* dir, char const* baseName, char const* format,
                                      char* out, int* size) noexcept;

/// The process-wide calibration manager.
///
/// It holds the calibration directory, where a camera's files are installed and read, and the
/// formats directory, the data directory of the camera library. Nothing but the constructor throws.
///
/// Not for use from several threads at once, not even with a manager for each: all share the loaded
/// description, which operations that look like plain queries change too, and the process's numeric
/// locale and working directory. Downloads must not overlap across processes either.
class ZENTHO_API IRCalibrationManager {
public:
    /// @return The one instance, made on the first call or after a manager was destroyed; null when
    ///         memory runs out. Nobody needs to delete it.
    static IRCalibrationManager* getInstance() noexcept;

    /// Starts with the directories "/usr/share/libzentho/cali" and "/usr/share/libzentho".
    IRCalibrationManager();
    /// Releases the directories and the list of optics, so that pointers to them become invalid.
    /// Makes getInstance() forget its instance, whichever manager is destroyed: the next call makes
    /// a fresh one with the default directories, and an instance that was not the one destroyed is
    /// its holder's to delete. The loaded description stays.
    ~IRCalibrationManager();

    IRCalibrationManager(IRCalibrationManager const&) = delete;
    IRCalibrationManager& operator=(IRCalibrationManager const&) = delete;

    /// @param dir The calibration directory, without a trailing '/'. It need not exist. Cut to 260
    ///            characters, without a word. Null is ignored.
    void setCalibrationDir(char const* dir) noexcept;
    /// @param dir The formats directory, likewise.
    void setFormatsDir(char const* dir) noexcept;

    /// @return The calibration directory's own buffer, owned by the manager and the same one as
    ///         long as that lives. A caller may change the text in place: there is room for 1056
    ///         characters, which is what createConfigFilepath() needs for a capacity of 260.
    char* getCalibrationDir() noexcept;
    /// @return The formats directory's own buffer, likewise.
    char* getFormatsDir() noexcept;

    /// Forms "directory/name" + suffix, and creates the directory's last component when it is
    /// missing. Uses nothing of the manager.
    /// @param out      Receives the path; needs room for 4 * @p capacity + 16 characters. Partly
    ///                 written when the result is false.
    /// @param dir      Directory; one that ends in '/' gives a doubled slash. Empty for "Imager" in
    ///                 the working directory.
    /// @param capacity Limits each piece of the path, in characters.
    /// @param name     File name.
    /// @param suffix   Appended to the name; may be empty.
    /// @return false when the working directory is unavailable or longer than twice the capacity,
    ///         when a pointer is null or @p capacity negative; else true.
    bool createConfigFilepath(char* out, char const* dir, short capacity, char const* name,
                              char const* suffix) noexcept;

    /// Finds an attached camera in the USB device tree of sysfs
    /// (https://docs.kernel.org/admin-guide/sysfs-rules.html) by its vendor and product identifier.
    /// Leaves the working directory at "/sys/bus/usb/devices", unless that cannot be entered.
    /// @param serial 0 to take the first camera that has a serial number, in the order in which the
    ///               directory lists them; else the one to find. Receives the serial number, or 0
    ///               when no camera is taken; unchanged when the tree cannot be entered or listed,
    ///               which is logged as an error, and when memory runs out.
    /// @return Whether a camera was taken.
    bool findSerial(unsigned long& serial) noexcept;

    /// Tells whether a camera's set is complete and lists the missing files.
    ///
    /// The description is read only when it is not the one loaded, which is known by the serial
    /// number alone: after another directory was given or the file has changed, the answer still
    /// comes from what was read before. Reading sets the process's numeric locale to "C". The
    /// directory's last component is created when it is missing.
    /// @param dir       Calibration directory, without a trailing '/'; cut to 260 characters. Empty
    ///                  for "Imager" in the working directory.
    /// @param serial    Serial number of the camera.
    /// @param out       Null for sizing; else receives the list, each name followed by a ';'. It
    ///                  needs the room that sizing gives, unless files can vanish between the two
    ///                  calls: then it needs the room of a list of all files of the set and, in
    ///                  case the description cannot be read any more, of that one's name.
    /// @param size      Sizing: receives the room for the list with its terminator, 0 when nothing
    ///                  is missing. Filling: limits each piece that is appended as tstrcat() does,
    ///                  and not the list.
    /// @param xmlFormat `printf(3)` format of the description's name, filled with the serial number
    ///                  and cut to 19 characters.
    /// @param datFormat Format of a data file's name, filled with the name stem.
    /// @param prnFormat Format of a characteristic-curve file's name, likewise.
    /// @param separator One character that follows the description's name when that is missing.
    /// @return Whether nothing is missing. A description that cannot be loaded is the only file
    ///         listed. A file that can be opened for reading exists, whatever it holds.
    bool checkCaliFiles(char const* dir, int serial, char* out, int* size, char const* xmlFormat,
                        char const* datFormat, char const* prnFormat,
                        char const* separator) noexcept;

    /// Checks the set in the calibration directory, with the side effects of checkCaliFiles(): a
    /// loaded description is used again, the numeric locale is set, the directory's last component
    /// is created.
    /// @param serial Serial number of the camera.
    /// @return Null when it is complete; else the list of missing names, each followed by a ';', to
    ///         be released with `delete[]`. Files that vanish during the call can be cut off its
    ///         end. Without memory for the list, it holds one empty name. 64 such lists are kept
    ///         ready, and made again by the next call that finds memory; a call that has none left
    ///         ends the process with `std::abort()`, since no list would mean that the set is
    ///         complete.
    char* checkCalibration(unsigned long serial) noexcept;

    /// Copies a camera's files from a directory tree into the calibration directory with `find` and
    /// `cp`, writes that command to the standard output first, and checks the set afterwards, with
    /// the side effects of checkCaliFiles(): a description loaded before the copy is used again.
    /// The command runs in the working directory, which findSerial() changes. The calibration
    /// directory has to exist: `cp` makes a file of its name when only that is missing.
    /// @param serial    Serial number of the camera; it is a prefix of the names to copy, so files
    ///                  of a longer serial number are copied, too.
    /// @param sourceDir Root of the tree. Like the calibration directory it reaches the shell as it
    ///                  stands, so neither may hold blanks or other characters that a shell reads.
    /// @return false when the command cannot be started or files are missing afterwards, also when
    ///         they come while the list of them is made. It does not return when the set is
    ///         complete: the process then ends with SIGSEGV.
    bool copyCalibrationFromLocalRepo(unsigned long serial, std::string sourceDir) noexcept;

    /// @return Whether the routing table (`route(8)`) shows exactly one default route. No server is
    ///         contacted. Also false when the table cannot be read.
    bool isOnlineCalibrationRepoAccessible() noexcept;

    /// Fetches files of one camera with `wget`, from the repository that the download server's
    /// links file names. That file is kept as "/tmp/downloadlinks.xml" meanwhile, and stays there
    /// when it cannot be read; reading it sets the process's numeric locale to "C".
    ///
    /// A command whose link or name would make the shell do anything else, or whose name holds a
    /// '/', is not run and counts as one that cannot be started. Any other file of the camera's
    /// directory in the repository can be fetched, whosever it is. The path to write to is not
    /// quoted: of a name with a blank, `wget` takes what follows the blank for another address.
    /// @param fileList   File names, each followed by a ';'; a null list fails.
    /// @param serialText Serial number in decimal.
    /// @param targetDir  Directory to write to, without a trailing '/'. It reaches the shell as it
    ///                   stands, so it may not hold blanks or other characters that a shell reads.
    /// @return Whether the command of at least one file could be started; whether the server had
    ///         the file is not examined. Failures are logged.
    static bool downloadTarget(char const* fileList, std::string serialText,
                               std::string targetDir) noexcept;

    /// Downloads what is missing in the calibration directory, in at most three passes of
    /// checkCaliFiles() and downloadTarget(), with the side effects of both: a loaded description
    /// is used again, the numeric locale is set. Missing files that do not belong to the camera are
    /// not asked for, since a hostile description can list any names: those that begin neither with
    /// "Cali-" nor with "Kennlinie-", or in which another serial number follows, also a longer one.
    /// Whether the directory can be written is tried with a file ".zentho_access" in it, which is
    /// removed at once.
    /// @param serial Serial number of the camera.
    /// @return true when the set is complete or three passes were made; false when the directory
    ///         cannot be written, @p serial is 0 or a pass failed. Failures are logged.
    bool downloadCalibration(unsigned long serial) noexcept;

    /// Lists a camera's optics with their temperature ranges, and leaves its description loaded. A
    /// description of that serial number that is loaded already is used again, although the
    /// directory or the file may have changed. Reading one sets the process's numeric locale to "C"
    /// and creates the directory's last component when it is missing.
    /// @param serial Serial number of the camera; 0 leaves the list as it is.
    /// @return The manager's own list, refilled by the next call. A description that cannot be
    ///         loaded gives the default optic. Cut short when memory runs out.
    std::vector<IROptics>* getAvailableOptics(unsigned long serial) noexcept;

    /// Generates a camera configuration. The first optic's field of view and first temperature
    /// range stand in it as a suggestion, inside a comment. The description is read from its file
    /// in each call, which sets the process's numeric locale to "C"; no directory is created.
    /// @param serial Serial number of the camera.
    /// @return The XML text, 31 lines; no file is written. When memory runs out it is empty, or
    ///         suggests what it would without a description.
    std::string generateConfiguration(unsigned long serial) noexcept;

private:
    void stockSpareLists() noexcept;
    char* takeSpareList() noexcept;

    static IRCalibrationManager* _this;

    std::unique_ptr<char[]> m_calibrationDir;
    std::unique_ptr<char[]> m_formatsDir;
    std::vector<IROptics> m_optics;
    // What checkCalibration() gives without memory for a list: one file without a name.
    std::vector<std::unique_ptr<char[]>> m_spareLists;
};

} // namespace zel
