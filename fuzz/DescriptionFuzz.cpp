// Loads a description, compares it with what the model reads, makes every query and checks a set
// that it describes.

#include "fuzz/MemoryFile.h"

#include "imgproc/Cali.h"
#include "sdk/IRCalibrationManager.h"
#include "tests/support/DescriptionDump.h"
#include "tests/support/ModelDescription.h"

#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

using fuzz::require;
using zel::IRCalibrationManager;

constexpr int serialNumber = 1;

/// The calibration directory: in memory, gone with the process.
class Directory {
public:
    Directory() {
        std::string path = "/dev/shm/zentho-fuzz-XXXXXX";
        require(mkdtemp(path.data()) != nullptr, "there is a directory in memory");
        m_path = path;
        std::string const link = m_path + "/Cali-" + std::to_string(serialNumber) + ".xml";
        std::filesystem::create_symlink(m_description.path(), link);
    }
    ~Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Directory(Directory const&) = delete;
    Directory& operator=(Directory const&) = delete;

    void describe(std::string_view document) const { m_description.write(document); }
    char const* path() const { return m_path.c_str(); }

private:
    fuzz::MemoryFile m_description;
    std::string m_path;
};

bool sameNumber(float a, float b) {
    return a == b || (a != a && b != b);
}

void askForRange(ConfigCali& description, OPTICS const& optic, int index) {
    std::unique_ptr<Range> const range(description.getTempRange(&optic, index));
    std::unique_ptr<Range> const extended(description.getExtendedTempRange(&optic, index));
    require(range != nullptr && extended != nullptr, "a counted range is there");

    bool const hasIdentity = range->lo == range->lo && range->hi == range->hi;
    int const first = description.getTempRangeIndex(&optic, range.get());
    require(hasIdentity ? first >= 0 && first <= index : first == -1, "a range is found");
    description.getTempRangeDecimal(optic.fov, optic.text, range->lo, range->hi);
    std::unique_ptr<Range> const byLimits(
        description.getExtendedTempRange(optic.fov, optic.text, range->lo, range->hi));
    require(hasIdentity == (byLimits != nullptr), "an extended range is found");

    int const rates = description.getFramerateCount(&optic, range.get());
    for (int i = 0; i < rates; ++i) {
        unsigned short rate = description.getFramerate(&optic, range.get(), i);
        int const found = description.getFramerateIndex(&optic, range.get(), rate);
        require(found >= 0 && found <= i, "a listed frame rate is found");
        require(description.checkFramerate(&optic, range.get(), rate), "it is calibrated");
    }
    unsigned short unlisted = 54321;
    description.checkFramerate(&optic, range.get(), unlisted);
}

void askForOptic(ConfigCali& description, int index) {
    std::unique_ptr<OPTICS> const optic(description.getOptics(index));
    require(optic != nullptr, "a counted optic is there");
    int const exact = description.getOpticsIndex(optic.get());
    int const lenient = description.getOpticsIndex(optic->fov, optic->text);
    require(exact >= 0 && exact <= index, "an optic is found");
    require(lenient >= 0 && lenient <= exact, "the lenient rule finds it no later");

    std::unique_ptr<Range> const span(description.getTempRangeOverAll(optic.get()));
    require(span != nullptr, "an optic has a span");
    for (int i = 0; i < description.getTempRangeCount(optic.get()); ++i)
        askForRange(description, *optic, i);
}

void askEverything(ConfigCali& description) {
    for (int i = 0; i < description.getOpticsCount(); ++i)
        askForOptic(description, i);
    std::unique_ptr<Range> const span(description.getTempRangeOverAll());
    require(span != nullptr, "a description has a span");
    require(sameNumber(span->lo, span->lo), "a span has a low limit");
    require(description.getOptics(-1) == nullptr, "there is no optic before the first");
    require(description.getOptics(description.getOpticsCount()) == nullptr,
            "there is no optic after the last");
}

/// @param expected The names of the missing files.
void checkTheSet(IRCalibrationManager& manager, char const* directory,
                 std::string const& expected) {
    int size = -1;
    bool const complete =
        manager.checkCaliFiles(directory, serialNumber, nullptr, &size, "Cali-%i.xml",
                               "Cali-%s.dat", "Kennlinie-%s.prn", ";");
    require(complete == (size == 0), "only a complete set needs no room");
    std::vector<char> list(static_cast<std::size_t>(size) + 1, '#');
    bool const stillComplete =
        manager.checkCaliFiles(directory, serialNumber, list.data(), &size, "Cali-%i.xml",
                               "Cali-%s.dat", "Kennlinie-%s.prn", ";");
    require(complete == stillComplete, "both passes agree");
    // A complete set is measured as nothing, but its list is terminated all the same.
    auto const room = static_cast<std::size_t>(complete ? 1 : size);
    require(std::strlen(list.data()) + 1 == room, "the list has the measured length");
    require(list.data() == expected, "the files of the model are missing");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Directory const directory;
    static bool const silent = (fuzz::silenceTheLogger(), true);
    static_cast<void>(silent);
    directory.describe(fuzz::text(data, size));

    ConfigCali& description = *ConfigCali::getInstance();
    description.load(directory.path(), serialNumber + 1); // fails, and forgets the last input
    support::ModelDescription model;
    bool const readable = model.load(directory.path(), serialNumber);
    require((description.load(directory.path(), serialNumber) == 0) == readable,
            "product and model read a description or none");
    require(!readable || dump(support::inModelWords(description)) == dump(model),
            "product and model read the same");
    askEverything(description);
    auto& manager = *IRCalibrationManager::getInstance();
    checkTheSet(manager, directory.path(),
                readable ? model.missingFiles(directory.path(), serialNumber) : "Cali-1.xml;");
    manager.setCalibrationDir(directory.path());
    manager.getAvailableOptics(serialNumber);
    manager.generateConfiguration(serialNumber);
    return 0;
}
