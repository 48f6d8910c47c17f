# Sourced by test.sh and run.sh: installs the Debian packages the build needs (only those
# missing) and sets up the compiler cache so a fresh clone still hits it.
# desktop-file-utils and appstream validate the installed desktop entry and metainfo; dpkg-dev
# computes the Debian package's dependencies.
orvane_packages=(cmake ninja-build g++ qt6-base-dev qt6-5compat-dev libgl-dev ccache clang-format
    desktop-file-utils appstream dpkg-dev)

orvane_install_missing() {
    local missing=()
    local pkg
    for pkg in "${orvane_packages[@]}" "$@"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing missing packages: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

orvane_ccache_env() {
    export CCACHE_BASEDIR="$PWD"
    export CCACHE_NOHASHDIR=1
    export CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-5G}"
    # Precompiled headers are only cacheable when ccache may ignore their time stamps.
    export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros,include_file_mtime,include_file_ctime}"
}

# Fails when a source file differs from what .clang-format makes of it.
orvane_check_format() {
    local files
    files=$(git ls-files -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h' \
        'fuzz/*.cpp' 'fuzz/*.h' 2>/dev/null || find src tests bench fuzz -name '*.cpp' -o -name '*.h')
    # shellcheck disable=SC2086
    if ! clang-format --dry-run -Werror $files; then
        echo "Formatting differs from .clang-format: run clang-format -i on the files above." >&2
        return 1
    fi
}
