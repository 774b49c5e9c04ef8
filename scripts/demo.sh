#!/usr/bin/env bash
# Installs missing packages, builds, starts the bus server, and shows messages that travel between processes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    cat <<'TXT'
usage: scripts/demo.sh

On a Debian machine: installs missing packages, builds into build/demo, starts jayd on a free port of this machine, and starts
client processes in C++ and in C that send each other messages: greetings, urgent messages that overtake others,
broadcasts, messages for a client that connects later, messages that need an answer in time. It checks every byte.

Ends by itself, about ten seconds after the build. The exit status is 0 only if every message arrived as announced.
TXT
}

case ${1:-} in
'') ;;
--help | -h) usage; exit 0 ;;
*) echo "demo.sh: no option '$1'" >&2; usage >&2; exit 2 ;;
esac

readonly build_dir=build/demo
readonly log=$build_dir/build.log

# Built without the tests, which need more packages, and therefore in another folder than the preset's.
build() {
    cmake --preset release -B "$build_dir" -DJAY_TESTS=OFF
    cmake --build "$build_dir" -j "$(nproc)" --target jayd hello_sender hello_receiver demo_client demo_client_c
}

scripts/deps.sh build demo
mkdir -p "$build_dir"
echo "Building (output in $log) ..."
if ! build >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "demo.sh: the build failed; see $log" >&2
    exit 1
fi
exec python3 -B scripts/demo.py "$build_dir"
