#include "tool/companion/Answers.h"
#include "tool/companion/CommandOptions.h"
#include "tool/companion/Commands.h"
#include "tool/companion/Files.h"
#include "tool/companion/InstalledSet.h"
#include "tool/companion/Table.h"

#include "sdk/manager/Configuration.h"
#include "util/DefaultDirectories.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace companion {

namespace {

/// The configuration names the directory to programs that run elsewhere. An absolute path stays as
/// the person wrote it.
std::string absolute(std::string const& directory) {
    if (directory.front() == '/')
        return directory;
    std::error_code error;
    auto const path = std::filesystem::canonical(directory, error);
    if (error) // such as when a relative path starts in a working directory that was removed
        throw systemFailure("Cannot use the calibration directory", directory, error.value());
    return path;
}

/// An option that the description lacks: the answer is a no.
struct Refusal {
    std::string why; ///< a sentence
};

/// A range as a person writes it.
struct Limits {
    float low;
    float high;
};

bool readNumber(std::string_view text, float& number) {
    auto const begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return false;
    text.remove_prefix(begin);
    text.remove_suffix(text.size() - 1 - text.find_last_not_of(' '));
    auto const [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && rest == text.data() + text.size();
}

/// Reads "-20 to 100", as the command optics shows it, "-20..100" and "-20:100".
bool readLimits(std::string_view text, Limits& limits) {
    for (std::string_view const separator : {"to", "..", ":"}) {
        auto const place = text.find(separator);
        if (place != std::string_view::npos) {
            return readNumber(text.substr(0, place), limits.low) &&
                   readNumber(text.substr(place + separator.size()), limits.high);
        }
    }
    return false;
}

std::string rangeText(Range const& range) {
    return decimal(range.lo) + " to " + decimal(range.hi);
}

/// @return The optic that a person names as the command optics does; without a name, the first. The
///         field of view is enough where it is the only one of that value.
OpticsDefinition const& chosenOptic(OpticsTable const& optics, std::string const& name) {
    if (name.empty())
        return *optics.begin();
    OpticsDefinition const* byFieldOfView = nullptr;
    std::size_t count = 0;
    std::string known;
    for (OpticsDefinition const& optic : optics) {
        if (opticText(optic) == name)
            return optic;
        if (std::to_string(optic.FOV) == name) {
            byFieldOfView = &optic;
            ++count;
        }
        known += (known.empty() ? "" : ", ") + opticText(optic);
    }
    if (count == 1)
        return *byFieldOfView;
    if (count > 1)
        throw Refusal{"The description names several optics " + name + ": " + known + "."};
    throw Refusal{"The description names no optic " + name + ", but: " + known + "."};
}

TempRangeDefinition const* chosenRange(TempRangeTable const& ranges, std::string const& text) {
    if (text.empty())
        return ranges.size() > 0 ? &*ranges.begin() : nullptr;
    Limits limits{};
    readLimits(text, limits);
    std::string known;
    for (TempRangeDefinition const& definition : ranges) {
        if (definition.range.lo == limits.low && definition.range.hi == limits.high)
            return &definition;
        known += (known.empty() ? "" : ", ") + rangeText(definition.range);
    }
    if (known.empty())
        known = "none";
    throw Refusal{"The optic has no range " + text + ", but: " + known + "."};
}

/// A range that is not split by frame rate takes any.
void requireFramerate(TempRangeDefinition const* range, std::string const& text) {
    if (text.empty() || range == nullptr || !range->framerates)
        return;
    float wanted = 0;
    readNumber(text, wanted);
    std::string known;
    for (std::uint16_t const rate : *range->framerates) {
        if (static_cast<float>(rate) == wanted)
            return;
        known += (known.empty() ? "" : ", ") + std::to_string(rate);
    }
    if (known.empty())
        known = "none";
    throw Refusal{"The range " + rangeText(range->range) + " has no frame rate " + text +
                  ", but: " + known + "."};
}

bool selects(Options const& options) {
    return !options.optic.empty() || !options.range.empty() || !options.framerate.empty();
}

/// @throws Refusal when the description lacks what is asked for.
zel::Selection selectionFrom(Description const& description, Options const& options) {
    OpticsTable const& listed = description.optics;
    OpticsDefinition const& optic = chosenOptic(listed, options.optic);
    // The first optic of that field of view and text answers for all that share them.
    auto const& ranges = listed.find(OpticIdentity::of(optic))->tempRanges;
    TempRangeDefinition const* const range = chosenRange(ranges, options.range);
    if (range == nullptr)
        throw Refusal{"The optic " + opticText(optic) + " has no ranges."};
    requireFramerate(range, options.framerate);
    return {std::to_string(optic.FOV), decimal(range->range.lo), decimal(range->range.hi),
            optic.Text != nullptr ? optic.Text.get() : "", options.framerate};
}

std::string textFor(InstalledSet& set, Options const& options) {
    if (selects(options)) {
        return zel::configurationText(options.serial, set.directory(), zel::defaultFormatsDir,
                                      selectionFrom(*set.description(), options));
    }
    return zel::configurationText(options.serial, set.directory(), zel::defaultFormatsDir,
                                  zel::readSuggestion(set.document()));
}

std::string whyNoRange(std::string const& text) {
    Limits limits{};
    return readLimits(text, limits) ? "" : "must be as in \"-20 to 100\"";
}

std::string whyNoFramerate(std::string const& text) {
    float rate = 0;
    bool const isRate = readNumber(text, rate) && rate > 0 && std::isfinite(rate);
    return isRate ? "" : "must be a number of hertz";
}

void addConfigOptions(CLI::App& parser, Options& options) {
    addSerial(parser, options);
    addText(parser, "--optic", "OPTIC", options.optic,
            "Use this optic, named as 'optics' does, instead of the first");
    addText(parser, "--range", "RANGE", options.range,
            "Use this range of it, as in \"-20 to 100\", instead of its first", whyNoRange);
    addText(parser, "--framerate", "HERTZ", options.framerate, "Use this frame rate of the range",
            whyNoFramerate);
    CLI::Option& output = addText(parser, "-o,--output", "FILE", options.output,
                                  "Write to FILE, all at once, instead of the standard output");
    needs(addFlag(parser, "--force", options.force, "Replace FILE if it exists"), output);
    addDirectory(parser, options);
}

/// Tells that the description lacks what was asked for.
void tellRefusal(Refusal const& refusal, Options const& options, Result& result) {
    answerNo(result);
    addProblem(refusal.why, options.directory, result.members["problems"], result);
}

Result runConfig(Options const& options, Terminal const& /*terminal*/) {
    requireCalibrationDirectory(options.directory, R_OK | X_OK);
    InstalledSet set(absolute(options.directory), options.serial);
    Result result = answerAbout(options.serial, options.directory);
    result.members["configuration"] = nullptr;
    result.members["file"] = nullptr;
    result.members["problems"] = Json::array();
    if (set.description() == nullptr) {
        set.tellNoDescription(options, result);
        return result;
    }
    std::string text;
    try {
        text = textFor(set, options);
    } catch (Refusal const& refusal) {
        tellRefusal(refusal, options, result);
        return result;
    }
    result.members["configuration"] = text;
    if (options.output.empty()) {
        result.text = text;
        return result;
    }
    writeAtomically(options.output, text, options.force);
    result.members["file"] = options.output;
    return result;
}

} // namespace

Command const config{
    "config",
    "Write a camera's configuration",
    "0 written, 1 no description, or it lacks what was asked for",
    "zentho-cali config 14080045 -o 14080045.xml",
    addConfigOptions,
    runConfig,
};

} // namespace companion
