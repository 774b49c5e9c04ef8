#!/usr/bin/env bash
# Installs missing packages, builds, and runs the test suite: in one build, or with --all in every build.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

usage() {
    cat <<'TXT'
usage: scripts/test.sh [--all | --preset NAME...] [--filter REGEX] [--keep-going]

Without options: the debug build, the whole suite, and the checks of the sources (format, includes, headers, tests).

  --all            also: clang, clang-tidy, optimised, address and undefined-behaviour sanitizers, thread sanitizer,
                   32-bit x86, 32-bit ARM under emulation, a short fuzz run
  --preset NAME    run only this step; may be given several times: debug clang tidy release asan tsan m32 armhf fuzz coverage
  --filter REGEX   run only the tests whose names match, for example "bus/", "JString" or "check/"
  --keep-going     do not stop at the first step that fails
  --help           this text

The last lines are a table of the steps and the totals. The exit status is 0 only if nothing failed.
TXT
}

readonly all_steps=(debug clang tidy release asan tsan m32 armhf fuzz)
build_jobs=$(nproc)
# Most tests wait for something other than the processor, some for a minute.
test_jobs=$((build_jobs > 8 ? build_jobs : 8))

steps=()
filter=
keep_going=no

# One row of the table for each step that ran, and the totals.
declare -A row
total_passed=0
total_failed=0

parse_arguments() {
    while (($# > 0)); do
        case $1 in
        --all) steps=("${all_steps[@]}") ;;
        --preset | --filter)
            (($# > 1)) || { echo "test.sh: $1 needs a value" >&2; exit 2; }
            if [[ $1 == --preset ]]; then steps+=("$2"); else filter=$2; fi
            shift
            ;;
        --keep-going) keep_going=yes ;;
        --help | -h) usage; exit 0 ;;
        *) echo "test.sh: no option '$1'" >&2; usage >&2; exit 2 ;;
        esac
        shift
    done
    ((${#steps[@]} > 0)) || steps=(debug)
    local step
    for step in "${steps[@]}"; do
        [[ " ${all_steps[*]} coverage " == *" $step "* ]] || { echo "test.sh: no preset '$step'" >&2; exit 2; }
    done
}

install_what_is_missing() {
    local groups=(build test) step
    for step in "${steps[@]}"; do
        case $step in
        m32 | armhf | tidy) groups+=(test-all) ;;
        coverage) groups+=(coverage) ;;
        esac
    done
    scripts/deps.sh "${groups[@]}"
}

say() { printf '== %s\n' "$*"; }

# record STEP PASSED FAILED SKIPPED SECONDS [REMARK]
record() {
    row[$1]=$(printf '%-10s %7s %7s %8s %8s  %s' "$1" "$2" "$3" "$4" "$5" "${6:-}")
    total_passed=$((total_passed + $2))
    total_failed=$((total_failed + $3))
}

finish() {
    local step
    printf '\n%-10s %7s %7s %8s %8s\n' step passed failed skipped seconds
    for step in "${steps[@]}"; do
        echo "${row[$step]:-$(printf '%-10s not run' "$step")}"
    done
    printf '\n%d passed, %d failed\n' "$total_passed" "$total_failed"
}

set_sanitizer_options() {
    unset ASAN_OPTIONS LSAN_OPTIONS UBSAN_OPTIONS TSAN_OPTIONS
    case $1 in
    asan | fuzz)
        # use_sigaltstack=0: see tests/support/Sanitizers.cpp; here for the programs that tests start.
        export ASAN_OPTIONS=use_sigaltstack=0:detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1
        # A fuzz target frees millions of blocks: keeping them aside for long would only fill the memory.
        if [[ $1 == fuzz ]]; then ASAN_OPTIONS+=:quarantine_size_mb=64; fi
        export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
        if [[ -f tests/lsan.supp ]]; then export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp; fi
        ;;
    tsan)
        TSAN_OPTIONS=halt_on_error=1:detect_deadlocks=1:second_deadlock_stack=1
        if [[ -f tests/tsan.supp ]]; then TSAN_OPTIONS+=:suppressions=$PWD/tests/tsan.supp; fi
        export TSAN_OPTIONS
        ;;
    esac
}

# The sanitizers' run-times of GCC 12 and clang 14 give up with "unexpected memory mapping" where the kernel moves
# addresses by more than 28 bits: such programs run with the moving switched off, if the machine allows that.
runner_of() {
    case $1 in asan | tsan | fuzz) ;; *) return ;; esac
    local bits
    bits=$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 28)
    if ((bits > 28)) && setarch -R true 2>/dev/null; then echo "setarch -R"; fi
}

# Configures and builds a preset; what the compilers say goes to a file and is shown if they fail.
build_preset() {
    local preset=$1 log=build/$1/build.log started=$SECONDS
    say "$preset: building (output in $log)"
    mkdir -p "build/$preset"
    if { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$build_jobs"; } >"$log" 2>&1; then
        say "$preset: built in $((SECONDS - started)) s"
        return 0
    fi
    say "$preset: does not build:"
    grep -E -A 12 '[Ee]rror|FAILED|warning' "$log" | head -n 80 || tail -n 40 "$log"
    return 1
}

# Runs the tests of a built preset; shows the failing ones only. The results are left in build/PRESET/results.xml.
run_tests() {
    local preset=$1 started=$SECONDS options=(--output-on-failure --no-tests=error --output-junit results.xml) status
    [[ -z $filter ]] || options+=(-R "$filter")
    # On a shared machine a test may exceed its time limit once. Nobody is there to run it again.
    [[ -z ${CI:-} ]] || options+=(--repeat until-pass:2)
    say "$preset: running the tests (output in build/$preset/test.log)"
    rm -f "build/$preset/results.xml"
    set_sanitizer_options "$preset"
    # shellcheck disable=SC2046  # no word or two
    $(runner_of "$preset") ctest --test-dir "build/$preset" -j "$test_jobs" "${options[@]}" 2>&1 |
        tee "build/$preset/test.log" | grep -Ev '^ *Start +[0-9]+:| Passed +[0-9.]+ sec$|^Internal ctest|^$'
    status=${PIPESTATUS[0]}
    say "$preset: tests took $((SECONDS - started)) s"
    return "$status"
}

# result_of PRESET NAME: a count from the results file; 0 where there is none.
result_of() {
    local count
    count=$(sed -n "s/^.*\b$2=\"\([0-9]*\)\".*$/\1/p" "build/$1/results.xml" 2>/dev/null | head -n 1)
    echo "${count:-0}"
}

# The file's head holds the counts, one attribute per line.
record_tests() {
    local preset=$1 status=$2 seconds=$3 tests failed skipped
    tests=$(result_of "$preset" tests)
    failed=$(result_of "$preset" failures)
    skipped=$(($(result_of "$preset" skipped) + $(result_of "$preset" disabled)))
    # CTest itself failed, or a program could not even be asked for its tests.
    if ((status != 0 && failed == 0)); then
        failed=1
        tests=$((tests + 1))
    fi
    record "$preset" $((tests - failed - skipped)) "$failed" "$skipped" "$seconds"
    ((failed == 0))
}

run_preset() {
    local preset=$1 started=$SECONDS status
    if ! build_preset "$preset"; then
        record "$preset" 0 1 0 $((SECONDS - started)) "does not build"
        return 1
    fi
    if [[ $preset == clang ]]; then
        record clang 1 0 0 $((SECONDS - started)) "(built without a warning)"
        return 0
    fi
    run_tests "$preset"
    status=$?
    record_tests "$preset" "$status" $((SECONDS - started)) || return 1
    if [[ $preset == coverage ]]; then
        gcovr --root . --object-directory build/coverage --filter '(core|system|thread|net|bus|containers|database|ui)/' \
            --print-summary
    fi
}

# clang-tidy reads how clang compiled each source of the library, the tools and the examples.
run_tidy() {
    local started=$SECONDS log=build/clang/tidy.log
    build_preset clang || { record tidy 0 1 0 $((SECONDS - started)) "clang does not build"; return 1; }
    say "tidy: running (output in $log)"
    # It colours its output even when nobody sees it.
    if run-clang-tidy -quiet -p build/clang -j "$build_jobs" 2>&1 | sed 's/\x1b\[[0-9;]*m//g' >"$log"; then
        record tidy 1 0 0 $((SECONDS - started))
        return 0
    fi
    grep -E -A 4 '(error|warning):' "$log" | head -n 80
    record tidy 0 1 0 $((SECONDS - started)) "see $log"
    return 1
}

run_step() {
    case $1 in
    tidy) run_tidy ;;
    m32)
        if [[ $(uname -m) != x86_64 ]]; then
            record m32 0 0 1 0 "(not an x86-64 machine)"
            return 0
        fi
        run_preset m32
        ;;
    *) run_preset "$1" ;;
    esac
}

parse_arguments "$@"
trap finish EXIT
if ! install_what_is_missing; then
    total_failed=1
    exit 1
fi
for step in "${steps[@]}"; do
    run_step "$step" && continue
    [[ $keep_going == yes ]] || exit 1
done
((total_failed == 0))
