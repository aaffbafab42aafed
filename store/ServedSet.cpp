#include "store/ServedSet.h"

#include "sdk/set/FileKinds.h"
#include "store/Layout.h"
#include "store/Signature.h"
#include "store/Stop.h"

#include <algorithm>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>

namespace zel::store {

namespace {

/// @return Whether a name is that of a regular file. A link to one does not count.
bool isPlainFile(Folder const& folder, char const* name) noexcept {
    struct stat status {};
    return retried([&] { return fstatat(folder.get(), name, &status, AT_SYMLINK_NOFOLLOW); }) ==
               0 &&
           S_ISREG(status.st_mode);
}

} // namespace

ServedSet::ServedSet(WebRoot const& root, unsigned long serial) : m_folder(root.findSet(serial)) {
    if (!m_folder.descriptor.valid())
        return;
    list(serial);
    readIndex(serial);
}

void ServedSet::list(unsigned long serial) {
    int const error = forEachEntry(m_folder.get(), [&](std::string_view name, unsigned char) {
        if (set::ownerOf(name) == serial)
            m_names.emplace_back(name);
        else if (name == signedSumsName)
            m_isSigned = true;
        else if (name != sumsName)
            m_foreign = name;
    });
    if (error != 0)
        stop("Cannot list", m_folder.path, error);
    std::sort(m_names.begin(), m_names.end());
}

/// What cannot be read is not as it should be, and is replaced.
void ServedSet::readIndex(unsigned long serial) {
    OpenedFile const opened = openRegular(m_folder.get(), sumsName);
    auto const text = readWhole(opened, largestRecord);
    if (!text || !isPlainFile(m_folder, sumsName))
        return;
    m_index = Record::from(*text, serial);
    auto const written = m_index ? timeOf(m_index->date) : std::nullopt;
    timespec const& modified = opened.status.st_mtim;
    m_isIndexOriginal = written && modified.tv_sec == *written && modified.tv_nsec == 0;
    if (!m_isIndexOriginal && (!written || m_index->text() != *text))
        m_index.reset();
    if (!m_isSigned)
        return;
    auto const signedText = readWhole(m_folder.get(), signedSumsName, largestRecord);
    m_isSignedAlike =
        signedText && isPlainFile(m_folder, signedSumsName) && holdsInline(*signedText, *text);
}

} // namespace zel::store
