#pragma once

#include "imgproc/Records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// A stick with a camera's set: a description, and a data and a curve file for each of its 30
/// combinations of optic, range and frame rate, among others.
class Stick {
public:
    static constexpr int serial = 14080045;

    /// @param where    Directory for the stick and its target.
    /// @param others   How many files of others the stick holds.
    /// @param fileSize Size of each data and curve file, in bytes.
    Stick(std::string const& where, int others, std::size_t fileSize = 300 * 1000);

    /// Installs with the installer. @return The sum of the sizes of the files that were installed.
    std::uint64_t install() const;
    /// Does the same with the command that the installer prints.
    std::uint64_t runPrintedCommand() const;
    /// Does the same with the companion.
    std::uint64_t installSafely() const;
    /// Copies the whole stick with rsync, each file written through to the disk.
    /// @return The sum of the sizes of the camera's files.
    std::uint64_t copyWithRsync() const;

    /// Empties the target.
    void clear() const;

    std::vector<std::string> installer() const;
    std::vector<std::string> companion() const;

private:
    void makeSet(std::size_t fileSize) const;
    void writePair(OpticsDefinition const& optic, Range range, std::uint16_t framerate,
                   std::string const& content) const;
    std::uint64_t installed() const;

    std::string m_source;
    std::string m_target;
    std::string m_printed;
};

} // namespace bench
