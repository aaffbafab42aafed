/// @file
/// Cameras with their calibration files, as a maker would ship them.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// Builds a camera's calibration description, and the whole set of its files, word by word:
/// `camera(14080045).optic(23).range(-20, 100).frameRate(27).frameRate(80)`. What follows an optic
/// belongs to that optic, what follows a range to that range. The names of the files come from
/// rules written here, not from the product's.
///
/// For the names, optics of one camera differ in field of view or text, the ranges of an optic in
/// a limit, and limits have at most a few decimals and no more than nine digits before them.
class Camera {
public:
    explicit Camera(int serial) : m_serial(serial) {}

    /// Asks for the section of scalar constants, complete with customary values.
    Camera& mainSection();

    /// Adds an optic. While no range follows, its description does not mention ranges at all, and
    /// the three customary ones apply.
    Camera& optic(int fieldOfView);
    Camera& text(std::string const& text);
    /// @param answer Only "true", in any letter case, is a yes.
    Camera& samplePointCalibrated(std::string const& answer = "true");
    /// The description says that there are no ranges.
    Camera& withoutRanges();

    Camera& range(double low, double high);
    Camera& extendedTo(double low, double high);
    Camera& frameRate(int hertz);
    /// The description has a list of frame rates, with nothing on it.
    Camera& withoutFrameRates();
    Camera& decimal(int decimal);

    /// The content of the description file.
    std::string description() const;

    std::string descriptionName() const;
    /// The stems of the names of data and curve files, in the order of the description.
    std::vector<std::string> stems() const;
    /// The names of all files: description, then data file and curve file of each stem.
    std::vector<std::string> fileNames() const;

    /// Writes the set, data and curve files of plausible shape, into a directory.
    /// @param except Names of files that are left out.
    void writeInto(std::string const& directory, std::set<std::string> const& except = {}) const;

private:
    using Limits = std::pair<double, double>;

    struct RangeWords {
        Limits limits;
        std::optional<Limits> extended;
        std::optional<std::vector<int>> frameRates;
        std::optional<int> decimal;
    };

    struct OpticWords {
        int fieldOfView;
        std::optional<std::string> text;
        std::optional<std::string> samplePointCalibrated;
        std::optional<std::vector<RangeWords>> ranges;
    };

    /// One combination of optic, range and frame rate.
    struct DataSet {
        std::string stem;
        Limits limits;
        bool hasCurve;
    };

    OpticWords& lastOptic();
    RangeWords& lastRange();
    std::vector<DataSet> dataSets() const;

    static void describe(std::string& out, RangeWords const& range);
    static void describe(std::string& out, OpticWords const& optic);

    int m_serial;
    bool m_mainSection = false;
    std::vector<OpticWords> m_optics;
};

Camera camera(int serial);

} // namespace support
