/// @file
/// A set of which a version is installed, or in a mirror, and another is on the stick, and what
/// must hold whatever happens in between.
#pragma once

#include "store/Mirror.h"
#include "tests/store/StoreFixture.h"

namespace reliability {

/// A whole set and its stick, to be put back as often as needed: installing it again would take
/// longer.
class Beginning {
public:
    /// Keeps what is there now.
    explicit Beginning(std::string directory);
    /// Makes the directory hold exactly this again.
    void putBack() const;

private:
    std::string m_directory;
    support::TemporaryDirectory m_kept;
};

class TwoVersions : public storetest::Store {
protected:
    /// Writes a version to the stick.
    void putVersion(int version) const;
    /// Version 1 is on the stick and installed.
    void startFromVersion1() const;
    /// If the set is complete, all of its files are of one version.
    void expectOneVersion() const;
    /// The next installation of version 2 ends well, and leaves nothing of what happened before.
    void expectVersion2AfterTheNextInstallation() const;
    /// The next removal ends well, and leaves at most the hidden folder with its lock, which an
    /// earlier failure may have kept.
    void expectNothingAfterTheNextRemoval();

    /// Version 1 is on the stick and in the mirror.
    void startFromMirrored1(zel::store::MirrorOptions const& options = {}) const;
    /// Mirrors what is on the stick.
    zel::store::MirrorOutcome mirror(zel::store::MirrorOptions const& options = {}) const;
    /// The mirror has a whole set or none. @return Its version; 0 for none.
    int expectOneServedVersion() const;
    /// The next run ends well, and leaves version 2 and nothing of what happened before.
    void expectVersion2AfterTheNextMirroring(zel::store::MirrorOptions const& options = {}) const;

    std::string const web = root.path() + "/srv/www";
    std::string const set = web + "/7/7/Califiles SN7";
};

} // namespace reliability
