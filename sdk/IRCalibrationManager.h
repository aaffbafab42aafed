/// @file
/// Finds a camera and installs, checks and describes its calibration files.
#pragma once

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
int mkDir(char const* path) noexcept;

/// Stores the working directory.
/// @param buffer   Receives the path. The size told to `getcwd(3)` is twice the capacity plus one,
///                 so @p buffer needs room for that many characters.
/// @param capacity Capacity in characters.
/// @return @p buffer, or null when the path is longer, unavailable, or @p capacity is negative.
char* getFolderPath(char* buffer, short capacity) noexcept;

/// Tests one calibration file and records it when it is missing. Creates the directory's last
/// component when that is missing.
/// @param dir      Calibration directory, without a trailing '/'.
/// @param baseName Name stem of the data set.
/// @param format   A `printf(3)` format that makes the file name of the stem, cut to 259
/// characters.
/// @param out      Null to add the room for the name and a ';' to @p size; else the terminated list
///                 to append them to.
/// @param size     With a list, limits each appended piece as tstrcat() does.
void _checkCaliFilesHelper(char const* dir, char const* baseName, char const* format, char* out,
                           int* size) noexcept;

/// The process-wide calibration manager.
///
/// It holds the calibration directory, where a camera's files are installed and read, and the
/// formats directory, the data directory of the camera library. Directory texts carry no trailing
/// '/' and are kept to 260 characters. Nothing but the constructor throws. Not for use from several
/// threads at once; downloads must not overlap across processes either.
class IRCalibrationManager {
public:
    /// @return The one instance, made on the first call or after its destruction; null when memory
    ///         runs out. The process owns it; deleting it is allowed.
    static IRCalibrationManager* getInstance() noexcept;

    /// Starts with the directories "/usr/share/libzentho/cali" and "/usr/share/libzentho".
    IRCalibrationManager();
    /// Forgets the instance, so that the next getInstance() makes a fresh one.
    ~IRCalibrationManager();

    IRCalibrationManager(IRCalibrationManager const&) = delete;
    IRCalibrationManager& operator=(IRCalibrationManager const&) = delete;

    /// @param dir The calibration directory, which need not exist; cut to 260 characters. Null is
    ///            ignored.
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
    /// Leaves the working directory at "/sys/bus/usb/devices".
    /// @param serial 0 to take the first camera that has a serial number, else the one to find.
    ///               Receives the serial number, or 0 when no camera is taken; unchanged when the
    ///               tree cannot be entered or listed, which is logged as an error.
    /// @return Whether a camera was taken.
    bool findSerial(unsigned long& serial) noexcept;

    /// Tells whether a camera's set is complete and lists the missing files.
    /// @param dir       Calibration directory, without a trailing '/'.
    /// @param serial    Serial number of the camera.
    /// @param out       Null for sizing; else receives the list, each name with a ';' behind it. It
    ///                  needs the room that sizing gives.
    /// @param size      Sizing: receives the room for the list with its terminator, 0 when nothing
    ///                  is missing. Filling: limits each piece that is appended, as tstrcat() does.
    /// @param xmlFormat `printf(3)` format of the description's name, filled with the serial number
    ///                  and cut to 19 characters.
    /// @param datFormat Format of a data file's name, filled with the name stem.
    /// @param prnFormat Format of a characteristic-curve file's name, likewise.
    /// @param separator One character that follows the description's name when that is missing.
    /// @return Whether nothing is missing. A description that cannot be loaded is the only file
    ///         listed. A file exists when it can be opened for reading, whatever it holds.
    bool checkCaliFiles(char const* dir, int serial, char* out, int* size, char const* xmlFormat,
                        char const* datFormat, char const* prnFormat,
                        char const* separator) noexcept;

    /// Checks the set in the calibration directory.
    /// @param serial Serial number of the camera.
    /// @return Null when it is complete; else the list of missing names, each followed by a ';', to
    ///         be released with `delete[]`. Without memory for the list, it holds one empty name.
    ///         64 such lists are kept ready, and made again by the next call that finds memory; a
    ///         call that has none left ends the process with `std::abort()`, since no list would
    ///         mean that the set is complete.
    char* checkCalibration(unsigned long serial) noexcept;

    /// Copies a camera's files from a directory tree into the calibration directory with `find` and
    /// `cp`, writes that command to the standard output first, and checks the set afterwards.
    /// @param serial    Serial number of the camera; it is a prefix of the names to copy.
    /// @param sourceDir Root of the tree. It reaches the shell as it stands.
    /// @return false when the command cannot be started or files are missing afterwards. It does
    ///         not return when the set is complete: the process then ends with SIGSEGV.
    bool copyCalibrationFromLocalRepo(unsigned long serial, std::string sourceDir) noexcept;

    /// @return Whether the routing table (`route(8)`) shows exactly one default route. No server is
    ///         contacted.
    bool isOnlineCalibrationRepoAccessible() noexcept;

    /// Fetches files of one camera with `wget`, from the repository that the download server's
    /// links file names. That file is kept as "/tmp/downloadlinks.xml" meanwhile.
    /// @param fileList   File names, each followed by a ';'. Any file of that camera's directory in
    ///                   the repository can be fetched, whatever its name. A link or name that
    ///                   would make the shell do anything else than fetch it, or a name with a '/',
    ///                   counts as a command that cannot be started.
    /// @param serialText Serial number in decimal.
    /// @param targetDir  Directory to write to, without a trailing '/'. It reaches the shell as it
    ///                   stands.
    /// @return Whether the command of at least one file could be started; whether the server had
    ///         the file is not examined. Failures are logged.
    static bool downloadTarget(char const* fileList, std::string serialText,
                               std::string targetDir) noexcept;

    /// Downloads what is missing in the calibration directory, in at most three passes. Names that
    /// do not belong to the camera are dropped first, since a hostile description can put any names
    /// into the list of missing files: those that begin neither with "Cali-" nor with "Kennlinie-",
    /// or go on with another serial number, also a longer one.
    /// @param serial Serial number of the camera.
    /// @return true when the set is complete or three passes were made; false when the directory
    ///         cannot be written, @p serial is 0 or a pass failed. Failures are logged.
    bool downloadCalibration(unsigned long serial) noexcept;

    /// Lists a camera's optics with their temperature ranges, and leaves its description loaded.
    /// @param serial Serial number of the camera; 0 leaves the list as it is.
    /// @return The manager's own list, refilled by the next call. A description that cannot be
    ///         loaded gives the default optic. Cut short when memory runs out.
    std::vector<IROptics>* getAvailableOptics(unsigned long serial) noexcept;

    /// Generates a camera configuration. The first optic's field of view and first temperature
    /// range stand in it as a suggestion, inside a comment.
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
