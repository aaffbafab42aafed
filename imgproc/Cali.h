/// @file
/// The calibration description of a camera: `Cali-<serial>.xml`.
#pragma once

#include "imgproc/Records.h"
#include "util/Export.h"

#include <memory>

/// The calibration description: one camera's at a time.
///
/// Until a description is loaded, and after a load that failed, it holds one optic with field of
/// view 30, no text and the ranges -20 to 100, 0 to 250 and 150 to 900; when memory runs out, it
/// holds no optics.
///
/// All queries but one find an optic by the exact rule: field of view and text are both equal,
/// where a null and an empty text are the same. The lenient rule is that of getOpticsIndex() with a
/// field of view and a text. Either picks the first match in table order. Ranges are found by both
/// limits, compared for exact equality. Records returned by pointer are new and belong to the
/// caller, who releases them with `delete`; the pointer is also null when memory runs out. Nothing
/// but the constructor throws. Not for use from several threads at once, not even for queries: a
/// load changes what they read.
class ZENTHO_API ConfigCali {
public:
    /// Result of load() for a description that cannot be opened or parsed.
    static constexpr int loadFailed = static_cast<int>(0x80070005U);

    /// @return The one instance, made on the first call or after it was deleted; null when memory
    ///         runs out. The library never destroys it, and nobody needs to delete it.
    static ConfigCali* getInstance() noexcept;

    /// The initial content. @throws std::bad_alloc
    ConfigCali();
    /// Releases the description, with the texts that were handed out. When it was the one instance,
    /// the next getInstance() makes a fresh one.
    ~ConfigCali();

    ConfigCali(ConfigCali const&) = delete;
    ConfigCali& operator=(ConfigCali const&) = delete;

    /// @return Whether the description of camera @p serialNumber is the one loaded.
    bool isLoaded(int serialNumber) const noexcept;

    /// Forgets the loaded description, so that the next load() reads its file again. The content
    /// is then the initial one, or no optics when memory runs out.
    void forget() noexcept;

    /// Loads `Cali-<serial>.xml`, unless it is loaded already: that is known by the serial number
    /// alone, whatever directory is given and whether or not the file has changed since. The
    /// description of another camera is discarded first, whether or not the load succeeds. Sets the
    /// process's numeric locale to "C", as SimpleXML does, and logs for debugging.
    /// @param path         Directory of the file, without a trailing '/', cut to 260 characters.
    ///                     Its last component is created when missing. Empty for "Imager" in the
    ///                     working directory.
    ///                     Null fails at once.
    /// @param serialNumber Serial number of the camera.
    /// @return 0, or #loadFailed when the file cannot be opened or parsed.
    int load(char const* path, int serialNumber) noexcept;

    /// @return Number of optics.
    int getOpticsCount() const noexcept;

    /// @return Index of the optic; -1 when there is none.
    int getOpticsIndex(OPTICS const* optic) const noexcept;

    /// Finds an optic by the lenient rule: the field of view is equal, and so are the texts unless
    /// either is null or empty. So a request without a text matches any optic of that field of
    /// view, and an optic without a text matches any request; the other overload is strict.
    /// @param fov  Field of view.
    /// @param text Text, may be null.
    /// @return Index of the first such optic; -1 when there is none.
    int getOpticsIndex(int fov, char const* text) const noexcept;

    /// @param index Index of an optic.
    /// @return Its handle, owned by the caller; null for an index outside the table.
    OPTICS* getOptics(int index) const noexcept;

    /// @return The optic itself, which belongs to the description; null when there is none.
    OpticsDefinition const* findOptic(int fov, char const* text) const noexcept;

    /// @return Number of ranges of the optic; -1 when it is not found.
    int getTempRangeCount(OPTICS const* optic) const noexcept;
    /// @copydoc getTempRangeCount(OPTICS const*) const
    int getTempRangeCount(int fov, char const* text) const noexcept;

    /// @return Index of the range with exactly these limits; -1 when optic or range is not found.
    int getTempRangeIndex(OPTICS const* optic, Range const* range) const noexcept;
    /// @copydoc getTempRangeIndex(OPTICS const*, Range const*) const
    int getTempRangeIndex(int fov, char const* text, float lo, float hi) const noexcept;

    /// @return A copy of the optic's range at @p index, owned by the caller; null when there is
    ///         none.
    Range* getTempRange(OPTICS const* optic, int index) const noexcept;
    /// @copydoc getTempRange(OPTICS const*, int) const
    Range* getTempRange(int fov, char const* text, int index) const noexcept;

    /// @return A copy of the extended range at @p index, owned by the caller; null when there is
    ///         none.
    Range* getExtendedTempRange(OPTICS const* optic, int index) const noexcept;
    /// @copydoc getExtendedTempRange(OPTICS const*, int) const
    Range* getExtendedTempRange(int fov, char const* text, int index) const noexcept;
    /// @return A copy of the extended range of the range with exactly these limits, owned by the
    ///         caller; null when optic or range is not found.
    Range* getExtendedTempRange(int fov, char const* text, float lo, float hi) const noexcept;

    /// @return The span of the optic's ranges, owned by the caller: 1000000 to -1000000 when it has
    ///         none; null when the optic is not found. Extended ranges do not count.
    Range* getTempRangeOverAll(OPTICS const* optic) const noexcept;
    /// @return The span of all ranges of all optics, owned by the caller: 1000000 to -1000000 when
    ///         there are none.
    Range* getTempRangeOverAll() const noexcept;

    /// @return `Decimal` of the range with exactly these limits; 0 when it is not found.
    unsigned short getTempRangeDecimal(int fov, char const* text, float lo,
                                       float hi) const noexcept;

    /// @return Number of frame rates of the range, 0 also when it has no list; -1 when optic or
    ///         range is not found.
    int getFramerateCount(OPTICS const* optic, Range const* range) const noexcept;

    /// @return Index of the first frame rate equal to @p framerate; -1 when optic, range or list is
    ///         missing, -2 when the list does not hold it.
    int getFramerateIndex(OPTICS const* optic, Range const* range,
                          unsigned short framerate) const noexcept;
    /// @copydoc getFramerateIndex(OPTICS const*, Range const*, unsigned short) const
    int getFramerateIndex(int fov, char const* text, float lo, float hi,
                          unsigned short framerate) const noexcept;

    /// @return The frame rate at @p index in hertz; 0 when there is none.
    unsigned short getFramerate(OPTICS const* optic, Range const* range, int index) const noexcept;

    /// Checks whether a frame rate is calibrated; only an exact match counts.
    /// @param optic     The optic.
    /// @param range     The range.
    /// @param framerate The requested frame rate in hertz; unchanged when it is listed, else set to
    ///                  0, which stands for no particular one.
    /// @return Whether the caller can go on: also true when optic, range or list is missing, since
    ///         such a range is not split by frame rate.
    bool checkFramerate(OPTICS const* optic, Range const* range,
                        unsigned short& framerate) const noexcept;
    /// The same, with optic and range given by field of view, text and limits.
    /// @param fov       Field of view of the optic.
    /// @param text      Text of the optic, may be null.
    /// @param lo        Low limit of the range.
    /// @param hi        High limit of the range.
    /// @param framerate The requested frame rate in hertz, as above.
    /// @return Whether the caller can go on.
    bool checkFramerate(int fov, char const* text, float lo, float hi,
                        unsigned short& framerate) const noexcept;

    /// Builds the name stem of one calibration data set, as in 12345-30-X-M20-100-32: serial
    /// number, optic, limits without their fractions ("M" for a negative one), frame rate.
    /// @param serial     Serial number of the camera.
    /// @param fov        Field of view of the optic.
    /// @param text       Text of the optic, may be null.
    /// @param range      The range.
    /// @param framerate  The frame rate in hertz, 0 for none.
    /// @param buffer     Receives the stem, cut to @p bufferSize - 1 characters, and a terminator.
    /// @param bufferSize Room in @p buffer, in characters.
    /// @return Whether there was something to write; false for a null range or buffer, or a
    ///         negative size.
    static bool caliFilenameString(int serial, int fov, char const* text, Range const* range,
                                   unsigned short framerate, char* buffer, int bufferSize) noexcept;
    /// The same, with the limits given directly.
    /// @param serial     Serial number of the camera.
    /// @param fov        Field of view of the optic.
    /// @param text       Text of the optic, may be null.
    /// @param lo         Low limit of the range.
    /// @param hi         High limit of the range.
    /// @param framerate  The frame rate in hertz, 0 for none.
    /// @param buffer     Receives the stem, cut to @p bufferSize - 1 characters, and a terminator.
    /// @param bufferSize Room in @p buffer, in characters.
    /// @return Whether there was something to write.
    static bool caliFilenameString(int serial, int fov, char const* text, float lo, float hi,
                                   unsigned short framerate, char* buffer, int bufferSize) noexcept;

    std::unique_ptr<MainSection> mainSection; ///< scalar constants
    std::unique_ptr<OpticsTable> optics;      ///< the optics
    bool loaded = false;                      ///< a description has been loaded
    int serial = -1;                          ///< serial number of the loaded description

private:
    static ConfigCali* _this;
};
