# Makes and tries kavo-windows-x64.zip. Sourced by scripts/windows.

package_windows() {
    local name=kavo-windows-x64 stage=$build/package zip=$build/kavo-windows-x64.zip
    say "packaging $zip"
    rm -rf "$stage" "$zip"
    mkdir -p "$stage/$name/settings" "$stage/$name/licences"
    collect_programs "$stage/$name"
    collect_texts "$stage/$name"
    collect_licences "$stage/$name/licences"
    # The same files and dates give the same archive.
    find "$stage/$name" -exec touch --no-dereference --date=@"$(last_change)" {} +
    (cd "$stage" && find "$name" | LC_ALL=C sort | TZ=UTC zip -q -9 -X -@ "$zip")
    try_package "$zip"
    say "made $zip"
}

last_change() { git -c safe.directory="$root" log -1 --format=%ct 2>/dev/null || date +%s; }

collect_programs() {
    local file
    for file in "$build/bin/kavo-host.exe" "$build/bin/contextplugin.dll" $(windows_runtime); do
        cp "$file" "$1/"
        "${cross_prefix}strip" --strip-unneeded "$1/$(basename "$file")"
    done
}

# Text files end their lines as Windows editors expect it.
collect_texts() {
    to_crlf <packaging/windows/README.txt >"$1/README.txt"
    to_crlf <packaging/windows/kavo-service.ini >"$1/settings/kavo-service.ini"
}

to_crlf() { sed 's/$/\r/'; }

collect_licences() {
    local target=$1 documents=/usr/share/doc
    sed "s|@QT_SOURCE@|$(<"$windows_qt/source-version")|" packaging/windows/licences.txt \
        | to_crlf >"$target/README.txt"
    to_crlf <"$windows_qt/licences/LICENSE.LGPL3" >"$target/Qt-LGPL-3.txt"
    to_crlf <"$windows_qt/licences/copyright" >"$target/Qt-copyright.txt"
    to_crlf </usr/share/common-licenses/GPL-3 >"$target/GPL-3.txt"
    to_crlf <"$documents/gcc-mingw-w64-base/copyright" >"$target/GCC-copyright.txt"
    to_crlf <"$documents/mingw-w64-common/copyright" >"$target/mingw-w64-copyright.txt"
    boost_licence <"$documents/libboost1.81-dev/copyright" | to_crlf >"$target/Boost-licence.txt"
    grep -q 'Boost Software License - Version 1.0' "$target/Boost-licence.txt"
    if [[ -e LICENSE ]]; then
        to_crlf <LICENSE >"$target/kavo.txt"
    fi
}

# The licence's text out of the two megabytes that name every file's holder, which it does not ask
# for in a compiled program.
boost_licence() {
    awk '/^License: BSL-1.0$/ { getline next_line; if (next_line ~ /^ /) { print next_line; inside = 1; next } }
        inside && /^$/ { exit }
        inside { print }' | sed 's/^ //; s/^\.$//'
}

# Unpacks the archive where a careless path would break, and holds a first session with what came
# out: the program must find its libraries and its module beside itself and nowhere else.
try_package() {
    local place
    ensure_wine_prefix
    place="$build/package/Prüfung mit Leerzeichen"
    mkdir -p "$place"
    say "trying it in '$place'"
    unzip -q "$1" -d "$place"
    env -u WINEPATH python3 scripts/lib/windows/try_package.py "$place/kavo-windows-x64"
}
