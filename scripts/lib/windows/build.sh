# Cross-compiling, and running what came out of it. Sourced by scripts/windows.

build_windows() {
    ensure_windows_qt
    use_compiler_cache
    # Another Qt or another description of the compiler wants a fresh configuration.
    local made_for
    made_for="$windows_qt $(cat cmake/toolchain-mingw.cmake scripts/lib/windows/build.sh | sha256sum)"
    if [[ ! -e $build/build.ninja || ! -e $build/made-for || $(<"$build/made-for") != "$made_for" ]]; then
        say "configuring $build"
        cmake --fresh -S "$root" -B "$build" -G Ninja --toolchain "$root/cmake/toolchain-mingw.cmake" \
            -D CMAKE_BUILD_TYPE=Release -D KAVO_WARNINGS_AS_ERRORS=ON \
            -D KAVO_WINDOWS_QT="$windows_qt" \
            -D CMAKE_CROSSCOMPILING_EMULATOR="$root/scripts/lib/windows/test-in-wine" >&2
        printf '%s\n' "$made_for" >"$build/made-for"
    fi
    say "building $build"
    cmake --build "$build" >&2
}

# The libraries that a program of ours needs at run time, one file a line.
windows_runtime() {
    local library
    printf '%s\n' "$windows_qt/bin/Qt5Core.dll"
    for library in libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll; do
        "$cross_compiler" -print-file-name="$library" | xargs realpath
    done
}

# From here on a program under Wine finds these libraries without a copy beside it.
export_wine_path() {
    local folders
    mapfile -t folders < <(windows_runtime | xargs -n 1 dirname | sort -u)
    WINEPATH=$(wine_path "${folders[@]}")
    export WINEPATH
}

test_windows() {
    export KAVO_CACHE=$kavo_cache # some tests give their programs another home
    export_wine_path
    # A Windows of the tests' own: they write the settings that hold for all its users.
    export KAVO_WINEPREFIX=$kavo_cache/windows-wine-tests
    export WINEPREFIX=$KAVO_WINEPREFIX
    ensure_wine_prefix
    # What an interrupted run may have left there.
    rm -rf "$WINEPREFIX"/drive_c/ProgramData/Brenlo "$WINEPREFIX"/drive_c/users/*/AppData/Roaming/Brenlo
    say "testing $build under Wine"
    start_wine
    trap stop_wine EXIT
    ctest --test-dir "$build" --output-on-failure --parallel "$jobs" "$@"
}

run_windows() {
    export_wine_path
    ensure_wine_prefix
    cd -- "$caller"
    exec "$wine_bin/wine64" "$build/bin/kavo-host.exe" "$@"
}
