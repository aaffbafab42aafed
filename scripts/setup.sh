# What the scripts beside this file share; they source it from the project's root.

# install_packages <package>...: installs the Debian packages that are not there yet.
install_packages() {
    local package missing=()
    for package; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    echo "Needed packages: $*"
    if [ ${#missing[@]} -eq 0 ]; then
        echo "All of them are installed."
        return
    fi
    echo "Installing: ${missing[*]}"
    as_root apt-get update
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "${missing[@]}"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# build <preset> [CMake option]...: configures and builds below build/<preset>.
build() {
    cmake --preset "$@"
    cmake --build --preset "$1" --parallel "$(nproc)"
}
