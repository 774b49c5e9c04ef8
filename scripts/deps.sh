#!/usr/bin/env bash
# Installs the missing Debian packages for building, testing and measuring.
set -euo pipefail

usage() {
    cat <<'TXT'
usage: scripts/deps.sh [--dry-run] [GROUP...]

Installs missing Debian packages, as root or through sudo. If none is missing, it does nothing.

  --dry-run   only print the names of the missing packages
  GROUP       build      compiler, CMake, Ninja, make and the tools' header-only libraries
              package    also what the Debian packages need: Debian's tools, and Doxygen for the API reference
              demo       also what scripts/demo.sh needs
              test       also what scripts/test.sh needs
              arm        the compiler for 32-bit ARM, and the emulator that runs its programs
              test-all   also what scripts/test.sh --all needs: 32-bit x86, 32-bit ARM, clang-tidy
              coverage   the coverage report
              bench      the benchmark library, and what the benchmarks compare with
              all        every group
              without a group: build and test
TXT
}

# The packages of one group, on one line.
packages_of() {
    case $1 in
    build) echo g++ make cmake ninja-build pkg-config libcli11-dev libfmt-dev nlohmann-json3-dev ;;
    package) echo dpkg-dev doxygen file python3 ;;
    demo) echo python3 ;;
    test) echo googletest clang clang-format libclang-rt-14-dev python3 git tshark doxygen abigail-tools dpkg-dev file lintian mandoc zsh
        echo mypy python3-pytest ;;
    arm) echo g++-arm-linux-gnueabihf qemu-user ;;
    test-all)
        echo clang-tidy systemd logrotate
        packages_of arm
        # The metapackage g++-multilib excludes the ARM compiler; the versioned package behind it does not.
        if [[ $(uname -m) == x86_64 ]]; then echo g++-12-multilib; fi
        ;;
    coverage) echo gcovr ;;
    bench) echo libbenchmark-dev libgdbm-dev libsqlite3-dev python3 ;;
    all) for group in build package demo test test-all coverage bench; do packages_of "$group"; done ;;
    *) return 1 ;;
    esac
}

is_installed() { [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]; }

missing_of() {
    local package
    for package in "$@"; do
        is_installed "$package" || echo "$package"
    done
}

# Prints the prefix that makes a command run as root: nothing, or sudo. Fails where there is neither.
root_prefix() {
    [[ $(id -u) == 0 ]] && return 0
    command -v sudo >/dev/null || return 1
    # Without a terminal nobody can enter a password.
    if [[ -t 0 ]]; then echo sudo; else sudo -n true 2>/dev/null && echo "sudo -n"; fi
}

dry_run=no
groups=()
for argument in "$@"; do
    case $argument in
    --dry-run) dry_run=yes ;;
    --help | -h) usage; exit 0 ;;
    *)
        packages_of "$argument" >/dev/null || { echo "deps.sh: no group or option '$argument'" >&2; usage >&2; exit 2; }
        groups+=("$argument")
        ;;
    esac
done
[[ ${#groups[@]} -gt 0 ]] || groups=(build test)

mapfile -t wanted < <(for group in "${groups[@]}"; do packages_of "$group"; done | tr ' ' '\n' | sort -u)
if ! command -v dpkg-query >/dev/null; then
    echo "deps.sh: this is not a Debian system; the needed packages have these names on Debian: ${wanted[*]}" >&2
    exit 1
fi

mapfile -t missing < <(missing_of "${wanted[@]}")
[[ ${#missing[@]} -gt 0 ]] || exit 0

if [[ $dry_run == yes ]]; then
    echo "would install: ${missing[*]}"
    exit 0
fi

if ! prefix=$(root_prefix); then
    echo "deps.sh: neither root nor sudo; run as root: apt-get install ${missing[*]}" >&2
    exit 1
fi
echo "installing: ${missing[*]}"
$prefix apt-get update -qq
# --no-remove: the other compilers of the machine must stay.
$prefix env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends --no-remove "${missing[@]}"
