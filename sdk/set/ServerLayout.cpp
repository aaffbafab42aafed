#include "sdk/set/ServerLayout.h"

namespace zel::set {

std::string folderOnServer(std::string_view serialText) {
    std::string path(serialText.substr(0, 2));
    path.append("/").append(serialText.substr(0, 4));
    return path.append("/Califiles SN").append(serialText);
}

} // namespace zel::set
