# How Windows programs are run here: with Debian's wine64, in a folder of settings of its own, with
# neither a display nor the parts that would ask for a download. Sourced; needs `kavo_cache`.
#
# Wine hands no variable whose name begins with QT_ to the first program. The one that Qt Test needs,
# or it writes to the system's debugger instead of standard output, is set in Wine's registry.

wine_bin=/usr/lib/wine
export WINEPREFIX=${KAVO_WINEPREFIX:-$kavo_cache/windows-wine}
export WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
unset DISPLAY WAYLAND_DISPLAY

# wine_path FOLDER…: the folders as the programs under Wine know them, joined for a search path.
wine_path() {
    local folder joined=
    for folder in "$@"; do
        joined+="${joined:+;}Z:${folder//\//\\}"
    done
    printf '%s' "$joined"
}

# The folder is used only when its making came to an end.
ensure_wine_prefix() {
    local stamp=$WINEPREFIX/kavo-stamp log=$kavo_cache/windows-wine.log version
    version=$(dpkg-query -W -f='${Version}' wine64)
    [[ -f $stamp && $(<"$stamp") == "$version" ]] && return 0
    say "preparing Wine in $WINEPREFIX"
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    # Its words about the missing 32-bit half and display are of interest only when it fails.
    if ! make_wine_prefix </dev/null >"$log" 2>&1; then
        cat "$log" >&2
        say "Wine cannot be prepared"
        return 1
    fi
    printf '%s\n' "$version" >"$stamp"
}

make_wine_prefix() {
    local wine=$wine_bin/wine64
    "$wine" wineboot --init \
        && "$wine" winecfg -v win10 \
        && "$wine" reg add 'HKCU\Environment' /f /v QT_FORCE_STDERR_LOGGING /d 1 \
        && "$wine_bin/wineserver64" --wait
}

# One server for a whole run, and an idle program that keeps Wine's own services alive, instead of a
# set of them that starts and ends with every program.
start_wine() {
    "$wine_bin/wineserver64" --persistent=60
    exec {wine_idle}> >(exec "$wine_bin/wine64" cmd >/dev/null 2>&1)
}
stop_wine() {
    exec {wine_idle}>&-
    "$wine_bin/wineserver64" --kill || true
}
