# Sourced by the scripts in the root: installs what the build needs, on Debian, where it is missing.

packages=(g++ cmake ninja-build pkg-config ccache libboost-dev libboost-context-dev libasound2-dev
    libsndfile1-dev libsleef-dev nlohmann-json3-dev libcli11-dev libmd4c-dev libgtest-dev)

# What the Python package and its tests need beside them.
python_packages=(pybind11-dev python3-dev python3-numpy python3-matplotlib python3-distributed python3-pytest mypy)
# What the page of `zepl serve` is made with; npm can be there without a package of its own.
page_packages=(nodejs)
command -v npm >/dev/null || page_packages+=(npm)
# What makes Debian packages.
package_tools=(dpkg-dev debhelper dh-python lintian lowdown)
# What the page is tested with.
page_test_packages=(chromium chromium-driver python3-websocket)

# Installs those of the named packages that are not there.
install_missing() {
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "installing ${missing[*]}" >&2
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    if ! { "${sudo[@]}" apt-get update -qq && DEBIAN_FRONTEND=noninteractive \
        "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >/dev/null; then
        echo "could not install ${missing[*]}; install them by hand and call this again" >&2
        exit 2
    fi
}

# Configures the preset once and builds the named targets, or everything. Quiet unless something goes wrong or it is the
# first build, which takes some minutes.
build_preset() {
    local preset=$1 folder=build log status=0
    shift
    [ "$preset" = release ] || folder=build-$preset
    log=$(mktemp)
    if [ ! -f "$folder/build.ninja" ]; then
        echo "building $folder; this takes some minutes the first time" >&2
        cmake --preset "$preset" >"$log" 2>&1 || status=$?
    fi
    if [ $status -eq 0 ]; then
        ninja -C "$folder" "$@" >"$log" 2>&1 || status=$?
    fi
    [ $status -eq 0 ] || cat "$log" >&2
    rm -f "$log"
    [ $status -eq 0 ] || exit 2
}
