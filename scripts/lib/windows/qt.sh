# Qt 5 Core and Test for Windows, built once from Debian's own Qt source package. Sourced by
# scripts/windows, which provides `say`, `jobs` and `kavo_cache`.
#
# ensure_windows_qt sets `windows_qt` to the folder with bin/, lib/ and include/. What lies there is
# used only while its stamp, written last, still matches: an interrupted build, a lost or a damaged
# file leads to a new build.

# To be raised whenever something below changes what is built.
windows_qt_recipe=1

cross_prefix=x86_64-w64-mingw32-
cross_compiler=${cross_prefix}g++-posix

ensure_windows_qt() {
    local version compiler
    # The same source as Debian's own Qt, whose patches then hold on both systems.
    version=$(dpkg-query -W -f='${source:Version}' qtbase5-dev)
    compiler=$("$cross_compiler" -dumpfullversion)
    windows_qt=$kavo_cache/windows-qt-${version//[^0-9A-Za-z.-]/_}-gcc-$compiler-r$windows_qt_recipe

    mkdir -p "$kavo_cache"
    # Two checkouts may want it at the same time; the second one waits and finds it built.
    exec 9>"$windows_qt.lock"
    flock --nonblock 9 || { say "waiting for another build of Qt for Windows"; flock 9; }
    if ! windows_qt_is_whole; then
        build_windows_qt "$version" || { exec 9>&-; return 1; }
    fi
    exec 9>&-
}

windows_qt_is_whole() {
    [[ -s $windows_qt/stamp ]] || return 1
    (cd "$windows_qt" && sha256sum --check --status --strict stamp 2>/dev/null) && return 0
    say "the Qt in $windows_qt is damaged and is built anew"
    return 1
}

build_windows_qt() {
    local version=$1 begin=$SECONDS work=$windows_qt.building
    say "Qt $version for Windows: built once, about ten minutes on two free cores"
    rm -rf "$windows_qt" "$work"
    mkdir -p "$work"

    fetch_qt_source "$version" || return 1
    say "unpacking"
    run_logged "$work/unpack.log" dpkg-source --no-check -x "$qt_dsc" "$work/source" || return 1
    make_cross_names "$work/names"
    mkdir -p "$work/build"
    say "configuring (builds qmake first)"
    (cd "$work/build" && PATH=$work/names:$PATH run_logged "$work/configure.log" configure_qt) \
        || return 1
    say "compiling"
    (cd "$work/build" && PATH=$work/names:$PATH run_logged "$work/make.log" make_qt) || return 1
    install_qt_extras "$work/source" || return 1

    (cd "$windows_qt" && find . -type f -print0 | sort -z | xargs -0 sha256sum) >"$work/stamp"
    mv "$work/stamp" "$windows_qt/stamp"
    rm -rf "$work"
    say "Qt for Windows is built: $((SECONDS - begin)) s, $windows_qt"
}

# Downloads the source package and sets `qt_dsc`. apt compares every file with the checksums of
# Debian's signed lists, also one that is already there, and fetches a broken one again.
fetch_qt_source() {
    local version=$1 package=qtbase-opensource-src sources=$kavo_cache/windows-qt-source
    say "downloading Qt's source package"
    mkdir -p "$sources"
    private_apt update || return 1
    if ! (cd "$sources" && private_apt source --download-only "$package=$version"); then
        # An archive keeps only its newest version, and this machine may be behind.
        say "not to be had in the version installed here; taking the archive's newest"
        (cd "$sources" && private_apt source --download-only "$package") || return 1
        version=$(ls "$sources" | sed -n "s/^${package}_\(.*\)\.dsc\$/\1/p" | sort -V | tail -n 1)
    fi
    qt_dsc=$sources/${package}_${version#*:}.dsc
    [[ -s $qt_dsc ]] || { say "no $qt_dsc after the download"; return 1; }
}

# apt-get with lists of its own: source packages are wanted here without switching them on for the
# whole machine. The archives are those that the machine already uses for Debian's packages.
private_apt() {
    local apt=$kavo_cache/windows-apt
    mkdir -p "$apt/lists/partial" "$apt/archives/partial"
    debian_archives >"$apt/sources.list"
    if [[ ! -s $apt/sources.list ]]; then
        say "apt knows no Debian archive; run 'apt-get update' once"
        return 1
    fi
    local options=(
        -q -o "Dir::Etc::sourcelist=$apt/sources.list" -o Dir::Etc::sourceparts=/dev/null
        -o "Dir::State::lists=$apt/lists" -o "Dir::Cache=$apt" -o Acquire::Retries=3
    )
    # The folders belong to the user, so the download cannot run as apt's own user.
    [[ $(id -u) -ne 0 ]] || options+=(-o APT::Sandbox::User=root)
    # The hint where the packaging is developed is of no use here.
    apt-get "${options[@]}" "$@" 2>&1 </dev/null \
        | grep -v -e '^NOTICE: ' -e '^Please use:' -e '^git clone ' -e '^to retrieve the latest' >&2
    return "${PIPESTATUS[0]}"
}

debian_archives() {
    local keyring=/usr/share/keyrings/debian-archive-keyring.gpg
    apt-get indextargets --format '$(ORIGIN) $(REPO_URI) $(CODENAME) $(COMPONENT)' \
        'Created-By: Packages' \
        | awk -v keyring="$keyring" \
            '$1 == "Debian" && !seen[$0]++ { print "deb-src [signed-by=" keyring "]", $2, $3, $4 }'
}

# Qt's build description calls the compiler by its plain name, which on Debian may be the flavour
# without std::thread. So the plain names lead to the right one here, by way of the compiler cache:
# what an interrupted build has compiled is not compiled again.
make_cross_names() {
    local tool
    mkdir -p "$1"
    for tool in gcc g++; do
        printf '#!/bin/sh\nexec ccache %s "$@"\n' "$cross_prefix$tool-posix" >"$1/$cross_prefix$tool"
        chmod +x "$1/$cross_prefix$tool"
    done
}

configure_qt() {
    local options=(
        -opensource -confirm-license -release -shared -prefix "$windows_qt"
        -platform linux-g++ -xplatform win32-g++ -device-option "CROSS_COMPILE=$cross_prefix"
        -qt-zlib -qt-pcre -qt-doubleconversion # nothing of the machine's own gets in
        -no-gui -no-widgets -no-opengl -no-dbus -no-openssl -no-icu -no-pch
        -no-feature-network -no-feature-sql -no-feature-xml -no-feature-concurrent
        -nomake examples -nomake tests -nomake tools
    )
    ../source/configure "${options[@]}" && mkdir -p src && cd src \
        && ../bin/qmake -o Makefile ../../source/src/src.pro
}

make_qt() {
    make -j "$jobs" -C src sub-corelib sub-testlib sub-winmain || return 1
    local part
    for part in tools/moc corelib testlib winmain; do
        make -C "src/$part" install || return 1
    done
}

# What Qt's CMake files ask for beside the libraries, and what has to go with the libraries.
install_qt_extras() {
    local source=$1 tools=/usr/lib/qt5/bin
    # CMake wants to see these two, though nothing here uses them.
    ln -s "$tools/qmake" "$tools/rcc" "$windows_qt/bin/" || return 1
    mkdir -p "$windows_qt/mkspecs" "$windows_qt/licences" \
        && cp -r "$source/mkspecs/win32-g++" "$windows_qt/mkspecs/" \
        && cp "$source"/LICENSE.* "$source/debian/copyright" "$windows_qt/licences/" \
        && basename "$qt_dsc" .dsc >"$windows_qt/source-version"
}

# run_logged LOG COMMAND…: keeps the output in LOG, shows how many files are compiled, and on a
# failure the end of it.
run_logged() {
    local log=$1 begin=$SECONDS
    shift
    # shellcheck disable=SC2016 # awk's own $ signs
    if "$@" </dev/null 2>&1 | tee "$log" | awk '
            / -c .*-o / && ++files % 25 == 0 { printf "   %d of about 480 files\n", files; fflush() }
        ' >&2; then
        say "   $((SECONDS - begin)) s"
        return 0
    fi
    tail -n 30 "$log" >&2
    say "failed; the whole output is in $log"
    return 1
}
