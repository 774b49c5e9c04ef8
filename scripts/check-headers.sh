#!/usr/bin/env bash
# Checks every header: it compiles on its own and when included twice, with GCC and with clang, without a warning, and the name of
# its guard follows from its path. The C interface must also be valid C99.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly warnings=(-Wall -Wextra -Wpedantic -Wshadow -Werror)
readonly c_headers=(bus/ca.h)

all_headers() { find jay.h core system thread net bus containers database ui -name '*.h' 2>/dev/null | sort; }

is_c_header() { [[ " ${c_headers[*]} " == *" $1 "* ]]; }

# core/JString.h has the guard JAY_CORE_JSTRING_H, thread/detail/CancelOff.h JAY_THREAD_DETAIL_CANCELOFF_H. A C header has
# a _C more: bus/ca.h stands beside bus/CA.h.
check_guard() {
    local guard
    guard=$(tr 'a-z/.' 'A-Z__' <<<"JAY/$1")
    if is_c_header "$1"; then guard=${guard%_H}_C_H; fi
    grep -q "^#ifndef $guard\$" "$1" && grep -q "^#define $guard\$" "$1" && return 0
    echo "$1: the include guard should be $guard"
    return 1
}

# compile COMPILER LANGUAGE HEADER OPTION...: a source that holds nothing but the header, twice.
compile() {
    local compiler=$1 language=$2 header=$3
    shift 3
    printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
        "$compiler" -x "$language" -fsyntax-only -I . "${warnings[@]}" "$@" - && return 0
    echo "$header: does not compile by itself with $compiler $*; include what it uses"
    return 1
}

check_cxx() {
    compile g++ c++ "$1" -std=c++17 -Wconversion
    compile clang++ c++ "$1" -std=c++17 -Wconversion
}

check_c() {
    compile gcc c "$1" -std=c99 -Wstrict-prototypes
    compile clang c "$1" -std=c99 -Wstrict-prototypes
}

# Called for one header by the parallel run below.
if [[ ${1:-} == --one ]]; then
    status=0
    check_guard "$2" || status=1
    check_cxx "$2" || status=1
    if is_c_header "$2"; then check_c "$2" || status=1; fi
    exit "$status"
fi

mapfile -t headers < <(all_headers)
for header in "${c_headers[@]}"; do
    [[ -f $header ]] || { echo "$header: missing; it is the C interface"; exit 1; }
done
printf '%s\n' "${headers[@]}" | xargs -P "$(nproc)" -n 1 "./scripts/$(basename "$0")" --one
echo "headers: ${#headers[@]} compile alone and twice with both compilers"
