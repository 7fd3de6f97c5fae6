# Sourced by ./windows after setup.sh: makes what a build for Windows needs and Debian does not package. Everything is
# in build/windows-tools and made only once.

salvor_windows_tools=$salvor_root/build/windows-tools
salvor_windows_packages=(g++-mingw-w64-x86-64-posix cmake ninja-build pkg-config make perl python3 dpkg-dev xz-utils
    wine64 googletest)

# The library uses strings, lists and maps of Qt and nothing else. cborstreamreader, cborstreamwriter and binaryjson
# stay: without all three, Qt 5.15 does not compile.
salvor_qt_without=(network sql testlib concurrent xml mimetype regularexpression xmlstream settings process
    processenvironment library filesystemwatcher itemmodel animation statemachine gestures translation big_codecs
    timezone datetimeparser commandlineparser easingcurve jalalicalendar hijricalendar islamiccivilcalendar
    topleveldomain sharedmemory systemsemaphore sha3-fast etw qeventtransition)

# salvor_step NAME WHAT FUNCTION: calls the function in a new directory, which is removed when the step is done. The
# output goes to build/windows-tools/NAME.log.
salvor_step() {
    local name=$1 what=$2 function=$3 log=$salvor_windows_tools/$1.log
    local work=$salvor_windows_tools/$name-work
    salvor_say "$what; the log is build/windows-tools/$name.log"
    rm -rf "$work"
    mkdir -p "$work"
    # In the background, since -e has no effect inside a function whose status is tested.
    (cd "$work" && set -e && "$function") >"$log" 2>&1 &
    if ! wait $!; then
        tail -n 30 "$log" >&2
        salvor_say "that failed; the whole log is $log"
        exit "$salvor_cannot_start"
    fi
    rm -rf "$work"
}

# Unpacks Debian's source package of Qt into ./qtbase. Uses the machine's own package sources, with "deb-src" for "deb",
# in a separate configuration: this needs neither root nor a change to /etc.
salvor_fetch_qt() {
    local file own=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$PWD/sources"
        -o Dir::State::lists="$PWD/lists" -o Dir::Cache="$PWD/cache" -o APT::Sandbox::User="$(id -un)")
    mkdir -p sources lists/partial cache/archives/partial
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
        case $file in
            *.list) if [[ -f $file ]]; then
                sed -E 's/^[[:space:]]*deb[[:space:]]/deb-src /' "$file" >"sources/$(basename "$file")"
            fi ;;
            *.sources) sed -E 's/^Types:.*/Types: deb-src/' "$file" >"sources/$(basename "$file")" ;;
        esac
    done
    # A third-party source without source packages is not a reason to give up.
    apt-get "${own[@]}" update || true
    apt-get "${own[@]}" source --download-only qtbase-opensource-src
    # apt has already checked the files against the signed index.
    dpkg-source --no-check -x qtbase-opensource-src_*.dsc qtbase
}

# Qt Core for Windows, static and without what the library does not use.
salvor_make_qt() {
    local features=("${salvor_qt_without[@]/#/-no-feature-}") jobs
    # No path of this machine may get into the library: neither those of sources nor Qt's own.
    local no_paths=-ffile-prefix-map=$PWD=.
    jobs=$(nproc)
    salvor_fetch_qt
    mkdir build
    cd build
    ../qtbase/configure -opensource -confirm-license -release -optimize-size -static \
        -prefix /qt -extprefix "$salvor_windows_tools/qt" \
        "QMAKE_CFLAGS+=$no_paths" "QMAKE_CXXFLAGS+=$no_paths" \
        -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32- \
        -no-gui -no-widgets -no-dbus -no-opengl -no-icu -no-iconv -no-glib -no-pch -no-openssl \
        -qt-zlib -qt-doubleconversion -nomake examples -nomake tests -nomake tools "${features[@]}"
    make sub-src-qmake_all
    make -j"$jobs" -C src sub-corelib sub-winmain sub-rcc
    # The CMake package of Qt Core also wants qmake, moc, rcc, qtmain and the platform's files.
    make -C src sub-corelib-install_subtargets sub-winmain-install_subtargets sub-rcc-install_subtargets
    make sub-qmake-qmake-aux-pro-install_subtargets install_mkspecs
    touch "$salvor_windows_tools/qt/complete"
}

# GoogleTest for Windows, from the source that Debian packages.
salvor_make_googletest() {
    cmake -S /usr/src/googletest -B . -G Ninja -DCMAKE_TOOLCHAIN_FILE="$salvor_root/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$salvor_windows_tools/googletest"
    ninja install
    touch "$salvor_windows_tools/googletest/complete"
}

# salvor_windows_has TOOL: whether that directory is complete.
salvor_windows_has() { [[ -f $salvor_windows_tools/$1/complete ]]; }

salvor_need_qt() {
    salvor_windows_has qt || salvor_step qt "building Qt Core for Windows, once, which takes several minutes" salvor_make_qt
}

salvor_need_googletest() {
    salvor_windows_has googletest ||
        salvor_step googletest "building GoogleTest for Windows, once" salvor_make_googletest
}

salvor_wine_environment() {
    export WINEPREFIX=$salvor_windows_tools/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
    unset DISPLAY
}

salvor_make_wine() {
    salvor_wine_environment
    rm -rf "$WINEPREFIX"
    "$salvor_wine64" wineboot --init
    touch "$WINEPREFIX/complete"
}

# The script named wine would run a 32-bit Wine.
salvor_wine64=/usr/lib/wine/wine64

# From then on "$salvor_wine64" runs programs for Windows, including those that the build runs to list their tests.
salvor_need_wine() {
    salvor_windows_has wine || salvor_step wine "making a home for Wine, once" salvor_make_wine
    salvor_wine_environment
}
