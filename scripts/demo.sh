#!/usr/bin/env bash
# Installs what is missing, builds, starts the bus server and shows messages travelling between real processes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    cat <<'TXT'
usage: scripts/demo.sh

On a Debian machine: installs what is missing, builds into build/demo, starts jayd on a free port of this machine, and shows
client processes, one kind in C++ and one in plain C, that send each other messages: greetings, urgent ones that overtake,
broadcasts, some for a client that comes later, some that want an answer in time. Every byte is checked.

Ends by itself, about ten seconds after the build. Exit status 0 only if every message arrived as said.
TXT
}

case ${1:-} in
'') ;;
--help | -h) usage; exit 0 ;;
*) echo "demo.sh: no option '$1'" >&2; usage >&2; exit 2 ;;
esac

readonly build_dir=build/demo
readonly log=$build_dir/build.log

# The tests, which would want more packages, are left out; hence a folder of its own beside that of the preset.
build() {
    cmake --preset release -B "$build_dir" -DJAY_TESTS=OFF
    cmake --build "$build_dir" -j "$(nproc)" --target jayd hello_sender hello_receiver demo_client demo_client_c
}

scripts/deps.sh build demo
mkdir -p "$build_dir"
echo "Building (output in $log) ..."
if ! build >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "demo.sh: it does not build; see $log" >&2
    exit 1
fi
exec python3 -B scripts/demo.py "$build_dir"
