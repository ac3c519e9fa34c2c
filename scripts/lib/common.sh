# What scripts/run, scripts/test and .ci/run share. Sourced, never run; the caller has set
# `set -euo pipefail` and stands in the checkout's root folder.

source scripts/lib/packages.sh

jobs=$(nproc)
test_jobs=$((2 * jobs)) # tests wait more than they compute

say() { printf '== %s\n' "$*" >&2; }

# Installs those of the named Debian packages that are missing; asks apt only when one is.
install_packages() {
    command -v dpkg-query >/dev/null || return 0 # not Debian: whoever builds here brings the tools
    local package missing=()
    for package in "$@"; do
        if [[ $(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null) != installed* ]]; then
            missing+=("$package")
        fi
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0

    say "installing ${missing[*]}"
    local as_root=()
    if [[ $(id -u) -ne 0 ]]; then
        command -v sudo >/dev/null || {
            echo "These packages are missing; install them as root: ${missing[*]}" >&2
            return 1
        }
        as_root=(sudo)
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq
               -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3)
    "${apt[@]}" update >&2
    "${apt[@]}" install -y --no-install-recommends "${missing[@]}" </dev/null >&2
}

# CMake takes the launcher from here when it configures a folder for the first time.
use_compiler_cache() {
    command -v ccache >/dev/null || return 0
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # Without these it would not keep what is compiled with precompiled headers.
    export CCACHE_SLOPPINESS=pch_defines,time_macros
}

# build_preset PRESET [cmake --build arguments…]: configures when needed, then builds.
build_preset() {
    local preset=$1 directory=build/$1
    shift
    use_compiler_cache
    # Ninja itself notices changed CMakeLists.txt files, but not changed presets.
    if [[ ! -e $directory/build.ninja || CMakePresets.json -nt $directory/build.ninja ]]; then
        say "configuring $directory"
        cmake --preset "$preset" >&2
    fi
    say "building $directory"
    cmake --build "$directory" "$@" >&2
}
