#!/usr/bin/env bash
# Checks the form of commit messages.
set -euo pipefail
export LC_ALL=C.UTF-8

root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
# The rules hold for the commits after this one.
FIRST=427dbfc828fa
LONGEST_SUBJECT=72
LONGEST_LINE=100

usage() {
    cat <<TXT
usage: scripts/check-commits.sh [BASE]           checks the commits after BASE, $FIRST if none is given
       scripts/check-commits.sh --message FILE   checks one message; as a hook: .git/hooks/commit-msg

  database: never truncate an existing file on open     the area, then what the commit does, in the imperative

  Why it does so, and how it was verified, where the change does not show it.

The subject has at most $LONGEST_SUBJECT characters, begins with an area and ': ', goes on in lower case or with a name, and has no
period at its end. An empty line separates it from the body, whose lines have at most $LONGEST_LINE characters. Merges are not
checked. In a clone that does not reach back to BASE, the commits that are there are checked.
Prints each fault; exit status 1 if there is any.
TXT
}

fault() {
    echo "$name: $*"
    status=1
}

check_subject() {
    local subject=$1 text=${1#*: }
    ((${#subject} <= LONGEST_SUBJECT)) || fault "the subject has ${#subject} characters: $subject"
    [[ $subject =~ ^[a-z][A-Za-z0-9_./,\ -]*:\ [^\ ] ]] || fault "the subject does not begin with an area and ': ': $subject"
    [[ ! $text =~ ^[A-Z][a-z]*( |$) ]] || fault "the text after the area begins with a capital: $subject"
    [[ $subject != *. ]] || fault "the subject ends with a period: $subject"
}

# Checks the message on standard input, which the faults call $1.
check_message() {
    local line number=0
    name=$1
    while IFS= read -r line || [[ -n $line ]]; do
        [[ $line != "#"* ]] || continue  # what git writes into the file that an editor shows
        number=$((number + 1))
        if ((number == 1)); then
            check_subject "$line"
        elif ((number == 2)); then
            [[ -z $line ]] || fault "no empty line follows the subject"
        elif ((${#line} > LONGEST_LINE)) && [[ $line == *" "* ]]; then
            fault "a line has ${#line} characters: $line"
        fi
    done
    ((number > 0)) || fault "the message is empty"
}

# Prints the commits to look at. A shallow clone, or a tree without history, may not have the base.
commits_after() {
    # Unpacked without its history, the tree may lie in the repository of something else.
    [[ $(git rev-parse --show-toplevel 2>/dev/null) == "$root" ]] || return 0
    if git merge-base --is-ancestor "$1" HEAD 2>/dev/null; then
        git rev-list --no-merges "$1..HEAD"
    elif [[ $(git rev-parse --is-shallow-repository 2>/dev/null) == true ]]; then
        # The oldest commits look as if they had no parents; their messages are whole all the same.
        git rev-list --no-merges --max-count=50 HEAD
    fi
}

status=0
case ${1:-} in
--help | -h) usage; exit 0 ;;
--message)
    [[ $# == 2 ]] || { usage >&2; exit 2; }
    check_message "$2" <"$2"
    exit "$status"
    ;;
-*) usage >&2; exit 2 ;;
esac

cd "$root"
mapfile -t commits < <(commits_after "${1:-$FIRST}")
for commit in "${commits[@]}"; do
    check_message "${commit:0:10}" < <(git log -1 --format=%B "$commit")
done
((status != 0)) || echo "commits: ${#commits[@]} have the right form"
exit "$status"
