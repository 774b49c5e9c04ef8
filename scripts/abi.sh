#!/usr/bin/env bash
# Compares the binary interface of the library with the list in abi/, and updates the list.
set -euo pipefail
export LC_ALL=C
root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")

usage() {
    cat <<'TXT'
usage: scripts/abi.sh --check [LIBRARY]              compares; exit status 1 if there is a difference
       scripts/abi.sh --update [--break] [LIBRARY]   updates the list
       --list FOLDER                                 the list is in FOLDER, not in abi/

A program that was compiled against an older libjay.so.1 must run with a newer one. The list contains what such programs rely on:

  abi/libjay.so.1.symbols   every exported symbol; for an object, also its size
  abi/libjay.so.1.classes   for every public class: size, bases, members with their offsets, slots of the virtual
                            functions, and the result type of each function

An additional line is an addition to the interface: run --update, and commit the list together with the addition. A line that is
missing or has changed breaks programs, and --update refuses it. Then either

  - keep the old interface: leave the old function beside the new one; add a member after the others, in a class that
    programs neither derive from nor create; put a new virtual function into a new class; or
  - give the library a new SONAME (JAY_SOVERSION in CMakeLists.txt, the node in cmake/libjay.map, the major number of
    the version). The list for the new SONAME starts empty, and the old list is removed; or
  - run --update --break, as long as no version with this SONAME has been released.

Only what a program can use may leave the library. --check reports a private function or static member that is exported,
and everything of jay::detail, also as a type in a public signature: put JAY_HIDDEN (core/JExport.h) in front of the
member. Virtual functions are exempt, because the tables of derived classes refer to them.

LIBRARY is a 64-bit x86 build with debug information, build/debug/libjay.so if none is given. Needs abidw (Debian's
abigail-tools).
TXT
}

die() {
    echo "abi.sh: $*; see 'scripts/abi.sh --help'" >&2
    exit 2
}

action=
may_break=no
list=$root/abi
library=$root/build/debug/libjay.so
while (($# > 0)); do
    case $1 in
    --check | --update) action=$1 ;;
    --break) may_break=yes ;;
    --list)
        (($# > 1)) || die "--list needs a folder"
        list=$2
        shift
        ;;
    --help | -h) usage; exit 0 ;;
    -*) die "no option '$1'" ;;
    *) library=$1 ;;
    esac
    shift
done
[[ -n $action ]] || die "say --check or --update"
[[ -f $library ]] || die "no library '$library': build it first"
command -v abidw >/dev/null || die "no abidw here: scripts/deps.sh test installs it"
readelf -hW "$library" 2>/dev/null | grep -q 'Machine:.*X86-64' || die "'$library' is not for 64-bit x86, for which the list is"
# Not grep -q: it would leave readelf with a closed pipe, which counts as a failure here.
# shellcheck disable=SC2143
[[ -n $(readelf -SW "$library" | grep -F .debug_info) ]] || die "'$library' has no debug information"
soname=$(readelf -dW "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# lines_only_in FIRST SECOND: what is in the first and not in the second; a missing file is an empty one.
lines_only_in() { comm -23 <(sort "$1" 2>/dev/null) <(sort "$2" 2>/dev/null); }

# show FILE SIGN: the lines of the file, each after the sign
show() { sed "s/^/  $2 /" "$1"; }

# fail_broken TEXT: shows the missing lines and the new ones.
fail_broken() {
    echo "abi: $1:"
    show "$work/gone" -
    show "$work/new" +
    echo "abi: 'scripts/abi.sh --help' says what to do"
    exit 1
}

check() {
    if [[ ! -e $list/$soname.symbols ]]; then
        echo "abi: there is no list for $soname; scripts/abi.sh --update writes it"
        exit 1
    fi
    [[ ! -s $work/gone ]] || fail_broken "programs compiled against $soname rely on lines that are missing or have changed"
    python3 -B "$root/scripts/abi-describe.py" private "$library" >"$work/private"
    if [[ -s $work/private ]]; then
        echo "abi: exported, although no program can use it; hide it with JAY_HIDDEN:"
        show "$work/private" "!"
        exit 1
    fi
    if [[ -s $work/new ]]; then
        echo "abi: added to the interface; scripts/abi.sh --update adds to the list:"
        show "$work/new" +
        exit 1
    fi
    echo "abi: $soname equals its list of $(cat "$list/$soname".* | wc -l) lines"
}

update() {
    [[ ! -s $work/gone || $may_break == yes ]] || fail_broken "not written, for this would break programs compiled against $soname"
    mkdir -p "$list"
    cp "$work/$soname.symbols" "$work/$soname.classes" "$list"
    echo "abi: wrote $list/$soname.symbols and .classes: $(wc -l <"$work/new") new lines, $(wc -l <"$work/gone") gone"
}

for part in symbols classes; do
    python3 -B "$root/scripts/abi-describe.py" $part "$library" >"$work/$soname.$part"
    [[ -s $work/$soname.$part ]] || die "found no $part in '$library'"
    lines_only_in "$list/$soname.$part" "$work/$soname.$part" >>"$work/gone"
    lines_only_in "$work/$soname.$part" "$list/$soname.$part" >>"$work/new"
done

if [[ $action == --check ]]; then check; else update; fi
