#!/usr/bin/env bash
# Prints what docs/reliability.md promises, what was tried and what came out; fails when a promise is broken.
#
# usage: scripts/selfcheck.sh          every promise; about 15 minutes on two cores from nothing
#        scripts/selfcheck.sh --short  fewer tries, with the command that is built; under 2 minutes
#        scripts/selfcheck.sh --long   every call of two walks, all example scenarios, fuzzing, valgrind; hours
set -uo pipefail
cd "$(dirname "$0")/.."

form=${1:-}
case "$form" in
  "" | --short | --long) ;;
  *) echo "selfcheck: expected --short or --long, got $form" >&2; exit 2 ;;
esac
export PYTHONDONTWRITEBYTECODE=1
command=build/release/tools/ksbeacon/ksbeacon
started=$SECONDS
broken=0
mkdir -p build

scripts/setup.sh check || exit 1
if [ "$form" != --short ] || [ ! -x "$command" ]; then
  echo "selfcheck: building the command (a few minutes the first time)"
  if ! { cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=OFF &&
         cmake --build --preset release --target ksbeacon; } >build/selfcheck.log 2>&1; then
    tail -n 25 build/selfcheck.log >&2
    exit 1
  fi
fi

promise() {  # promise TEXT COMMAND...
  local text=$1 begin=$SECONDS output
  shift
  echo "$text"
  if output=$("$@" 2>&1); then
    printf '%s\n' "$output" | sed 's/^/    /'
    printf '    held, %d s\n' $((SECONDS - begin))
  else
    printf '%s\n' "$output" | tail -n 40 | sed 's/^/    /'
    printf '    BROKEN, %d s\n' $((SECONDS - begin))
    broken=$((broken + 1))
  fi
}

walks() { python3 tests/Faults/walks.py "$1" "$command" ${form:+"$form"}; }

same_walk_twice() {
  "$command" simulate examples/scenarios/tour.json --json >build/selfcheck.1 &&
    "$command" simulate examples/scenarios/tour.json --json >build/selfcheck.2 &&
    cmp build/selfcheck.1 build/selfcheck.2 && echo "2 walks, $(wc -l <build/selfcheck.1) events, no difference"
}

# What the sanitizers do not see: the use of memory that was never written.
valgrind_parsers() {
  scripts/setup.sh bench >/dev/null || return 1
  local files=0 file
  for file in fuzz/seeds/ArchiveViewFuzz/* fuzz/seeds/PropertyListFuzz/*; do
    valgrind -q --error-exitcode=99 "$command" inspect "$file" >/dev/null 2>build/selfcheck.log
    [ $? -ne 99 ] || { cat build/selfcheck.log; return 1; }
    files=$((files + 1))
  done
  for file in fuzz/seeds/ScenarioFuzz/*; do
    valgrind -q --error-exitcode=99 "$command" simulate "$file" --until 1 >/dev/null 2>build/selfcheck.log
    [ $? -ne 99 ] || { cat build/selfcheck.log; return 1; }
    files=$((files + 1))
  done
  echo "$files files read under valgrind"
}

promise "Each example scenario does what it says" "$command" test examples/scenarios
promise "The same walk gives the same events" same_walk_twice
promise "No failing call of the system crashes, hangs, litters or loses the earlier state" walks faults
promise "A killed process leaves the earlier or the later state" walks kills
promise "A running service starts clean after kills and leaps of the clock" walks services
promise "A power cut leaves the earlier or the later state" walks power
promise "No fault of the network crashes, hangs or litters, and the next walk is whole" walks network
promise "The development portal serves on when others waste its connections" walks listener
promise "No command writes the password, in any encoding" python3 tests/Faults/passwords.py "$command"
if [ "$form" = --long ]; then
  promise "Damaged input never crashes or stalls a parser" scripts/fuzz.sh 60
  promise "No parser uses memory that was never written" valgrind_parsers
fi

if [ "$broken" -gt 0 ]; then
  echo "selfcheck: $broken promises BROKEN, $((SECONDS - started)) s"
  exit 1
fi
echo "selfcheck: every promise held, $((SECONDS - started)) s"
