#!/usr/bin/env bash
# Makes the API reference from the public headers, with Doxygen. Fails on every warning, such as an operation without a comment.
set -euo pipefail

usage() {
    cat <<'TXT'
usage: scripts/api-docs.sh [FOLDER]

Writes the API reference as HTML into FOLDER, by default build/api; FOLDER/index.html is the first page.
The exit status is 0 only if Doxygen had no warnings. Needs Debian's doxygen (scripts/deps.sh package).
TXT
}

case ${1:-} in
--help | -h) usage; exit 0 ;;
-*) echo "api-docs.sh: no option '$1'" >&2; usage >&2; exit 2 ;;
esac
(($# <= 1)) || { echo "api-docs.sh: one folder only, without '$2'" >&2; exit 2; }
if ! command -v doxygen >/dev/null; then
    echo "api-docs.sh: doxygen is not installed; 'scripts/deps.sh package' installs it" >&2
    exit 1
fi
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=$(realpath -m "${1:-$root/build/api}")
mkdir -p "$folder" 2>/dev/null || { echo "api-docs.sh: cannot create the folder '$folder'; name another one" >&2; exit 2; }
cd "$root"
{ cat docs/api/Doxyfile; echo "OUTPUT_DIRECTORY = \"$folder\""; } | doxygen -
echo "API reference: $folder/index.html"
