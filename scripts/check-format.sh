#!/usr/bin/env bash
# Fails where a C or C++ file is not formatted as .clang-format says. `scripts/check-format.sh --fix` formats instead.
set -euo pipefail
cd "$(dirname "$0")/.."

# Files that are new and not yet in the index count too. Without a usable repository (a source archive): all files.
source_files() {
    { git ls-files --cached --others --exclude-standard -- '*.h' '*.c' '*.cpp' 2>/dev/null ||
        find . \( -name build -o -name .git \) -prune -o \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -print; } |
        while read -r file; do
            # The index may still name a file that is being removed.
            if [[ -f $file ]]; then echo "$file"; fi
        done
}

mapfile -t files < <(source_files)
if [[ ${#files[@]} == 0 ]]; then
    echo "check-format.sh: found no source files" >&2
    exit 1
fi
if [[ ${1:-} == --fix ]]; then
    clang-format -i "${files[@]}"
    exit 0
fi

unformatted=0
for file in "${files[@]}"; do
    if ! difference=$(clang-format "$file" | diff "$file" -); then
        unformatted=$((unformatted + 1))
        echo "$file: not formatted; the first of its differences:"
        head -n 6 <<<"$difference"
    fi
done
if ((unformatted > 0)); then
    echo "format: $unformatted of ${#files[@]} files differ; run scripts/check-format.sh --fix"
    exit 1
fi
echo "format: ${#files[@]} files are as .clang-format says"
