#!/usr/bin/env bash
# Installs missing packages, builds, and measures the classes and the bus.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    cat <<'TXT'
usage: scripts/bench.sh [--against REVISION] [--rounds N] [--filter REGEX] [--json FILE]

Builds into build/bench, runs every benchmark in several rounds, and prints a table with the medians: the classes
(bench/*.cpp, some of them beside their counterparts in the C++ library) and the bus (jayd and `jay bench` on a free port of this
machine). Run nothing else on the machine meanwhile.

  --against REVISION  also measures the library and jayd of this revision, alternating with the present ones, and prints the
                      ratios with their spread; compare ratios of the same run only
  --rounds N          the number of rounds, 1 to 100 (default 5)
  --filter REGEX      run only the benchmarks whose names match, for example "Hash" or "bus"
  --json FILE         also writes the medians as JSON
TXT
}

against=
arguments=()
while (($# > 0)); do
    case $1 in
    --help | -h) usage; exit 0 ;;
    --against | --rounds | --filter | --json)
        (($# > 1)) || { echo "bench.sh: $1 needs a value" >&2; exit 2; }
        if [[ $1 == --against ]]; then against=$2; else arguments+=("$1" "$2"); fi
        shift
        ;;
    *) echo "bench.sh: no option '$1'" >&2; usage >&2; exit 2 ;;
    esac
    shift
done

# build SOURCES FOLDER TARGET...
build() {
    local sources=$1 folder=$2
    shift 2
    mkdir -p "$folder"
    echo "Building $sources (output in $folder/build.log) ..." >&2
    (cd "$sources" && cmake --preset release -B "$folder" -DJAY_TESTS=OFF -DJAY_EXAMPLES=OFF "${options[@]}" &&
        cmake --build "$folder" -j "$(nproc)" --target "$@") >"$folder/build.log" 2>&1 ||
        { tail -n 40 "$folder/build.log" >&2; echo "bench.sh: the build failed; see $folder/build.log" >&2; exit 1; }
}

readonly here=$PWD/build/bench
if [[ -n $against ]]; then
    revision=$(git rev-parse --verify --quiet "$against^{commit}") ||
        { echo "bench.sh: no revision '$against'; 'git log --oneline' lists them" >&2; exit 2; }
fi
scripts/deps.sh build bench
python3 scripts/bench.py --build "$here" "${arguments[@]}" --check # reports wrong options before the build
options=(-DJAY_BENCH=ON)
build . "$here" jay_bench jayd jay_tool
if [[ -n $against ]]; then
    readonly former=$PWD/build/bench-against
    git worktree remove --force "$former" 2>/dev/null || true
    git worktree prune
    git worktree add --force --detach --quiet "$former" "$revision"
    trap 'git worktree remove --force "$former"' EXIT
    options=()
    build "$former" "$former/build/bench" jay jayd
    arguments+=(--against "$former/build/bench")
fi
python3 scripts/bench.py --build "$here" "${arguments[@]}"
