# Sourced by the launchers, by fuzz/run.sh and by .ci/run: installs missing packages and builds presets. The caller has
# set the shell's -euo pipefail.

salvor_root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")

# Names of Debian packages.
salvor_build_packages=(g++ cmake ninja-build pkg-config binutils python3 qtbase5-dev libcli11-dev libfmt-dev
    nlohmann-json3-dev libsimdjson-dev libpugixml-dev libfuse3-dev libssl-dev zlib1g-dev libseccomp-dev libtsk-dev
    libewf-dev libdeflate-dev libexiv2-dev libavformat-dev libqpdf-dev libgtest-dev libbenchmark-dev)
salvor_sanitize_packages=(clang libclang-rt-14-dev)
# From qemu-utils on: tools that make images of media for the tests, and one that checks reports. Tests whose tool is missing
# are skipped.
salvor_check_packages=(clang-format clang-tidy git slurmctld slurmd slurm-client munge
    qemu-utils ewf-tools afflib-tools dosfstools mtools exfatprogs e2fsprogs ntfs-3g xorriso makefs gddrescue
    libxml2-utils)

# The exit status of the program when it cannot start.
salvor_cannot_start=3

salvor_say() { echo "salvor: $*" >&2; }

# salvor_apt_get ARGS...: as root, without questions, output to the log.
salvor_apt_get() {
    local as_root=()
    if [[ $EUID -ne 0 ]]; then
        as_root=(sudo)
        # Only a user at a terminal can be asked for a password.
        [[ -t 0 ]] || as_root+=(-n)
    fi
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -y -o DPkg::Lock::Timeout=300 "$@" >>"$salvor_root/build/packages.log" 2>&1
}

# salvor_install PACKAGE...: installs those that are missing; needs root only for that.
salvor_install() {
    # On other systems the packages have other names; there the build reports what it does not find.
    command -v dpkg-query >/dev/null || return 0
    local installed missing=() package
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        grep -qxF "$package installed" <<<"$installed" || missing+=("$package")
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0

    if [[ $EUID -ne 0 ]] && ! command -v sudo >/dev/null; then
        salvor_say "packages are missing; install them as root: apt-get install ${missing[*]}"
        exit "$salvor_cannot_start"
    fi
    salvor_say "installing ${missing[*]}"
    mkdir -p "$salvor_root/build"
    : >"$salvor_root/build/packages.log"
    # The package lists may be missing or too old.
    if ! salvor_apt_get install --no-install-recommends "${missing[@]}" &&
        ! { salvor_apt_get update && salvor_apt_get install --no-install-recommends "${missing[@]}"; }; then
        tail -n 20 "$salvor_root/build/packages.log" >&2
        salvor_say "cannot install packages; check the network, or install them as root: apt-get install ${missing[*]}"
        exit "$salvor_cannot_start"
    fi
}

# Copies the build's output to the log and announces once on stderr that there is something to build.
salvor_log_build() {
    local preset=$1 line told=
    while IFS= read -r line; do
        printf '%s\n' "$line"
        if [[ -z $told && $line == \[*\]\ Building* ]]; then
            salvor_say "building $preset, which takes a while; the log is build/$preset.log"
            told=1
        fi
    done >"build/$preset.log"
}

# salvor_build_here PRESET [TARGET]: the part of salvor_build that runs while it has the build directory to itself.
salvor_build_here() {
    local preset=$1 target=${2:-all}
    if [[ ! -f build/$preset/build.ninja ]]; then
        salvor_say "configuring $preset"
        cmake --preset "$preset" >"build/$preset.log" 2>&1 || return
    fi
    cmake --build "build/$preset" --target "$target" 2>&1 | salvor_log_build "$preset"
}

# salvor_build PRESET [TARGET]: brings build/PRESET up to date, by default all of it.
salvor_build() {
    local preset=$1
    salvor_install "${salvor_build_packages[@]}"
    if [[ $preset == sanitize ]]; then
        salvor_install "${salvor_sanitize_packages[@]}"
    fi
    mkdir -p "$salvor_root/build"
    if [[ ! -w $salvor_root/build ]]; then
        salvor_say "cannot write to $salvor_root/build; make it your own or run as its owner"
        exit "$salvor_cannot_start"
    fi
    # A second launcher waits for the first. The lock is released with the subshell, before the program starts.
    if ! (cd "$salvor_root" && flock 9 && salvor_build_here "$@") 9>"$salvor_root/build/lock"; then
        tail -n 60 "$salvor_root/build/$preset.log" >&2
        salvor_say "the build failed; the whole log is $salvor_root/build/$preset.log"
        exit "$salvor_cannot_start"
    fi
}

# What the test of the page needs: a browser, and in build/browser-tools its driver and a checker of accessibility.
salvor_need_browser() {
    local tools=$salvor_root/build/browser-tools packages=(chromium)
    command -v node >/dev/null || packages+=(nodejs)
    # Some nodejs packages include npm, Debian's does not.
    command -v npm >/dev/null || packages+=(npm)
    salvor_install "${packages[@]}"
    [[ -d $tools/node_modules/axe-core && -d $tools/node_modules/puppeteer-core ]] && return
    salvor_say "installing the driver of the browser"
    mkdir -p "$tools"
    cp "$salvor_root"/tests/page/{package.json,.npmrc} "$tools"
    npm install --prefix "$tools" --ignore-scripts --omit=optional >"$salvor_root/build/browser-tools.log" 2>&1 || {
        tail -n 20 "$salvor_root/build/browser-tools.log" >&2
        salvor_say "cannot install the driver of the browser"
        exit "$salvor_cannot_start"
    }
}
