#!/usr/bin/env bash
# The campaign table of docs/robustness.md from the runs a fuzzing build recorded.
#
#   campaign-table.sh [FUZZ_BUILD] [COVERAGE_OUTPUT] [DOCUMENT]
#
# Sums the executions of every run in FUZZ_BUILD/fuzz-runs.tsv per target and takes edges, features and the
# corpus size from its last run; COVERAGE_OUTPUT, when given (or /dev/null), is what coverage.sh printed.
# The table goes to stdout, or with DOCUMENT (docs/robustness.md) between its lines <!-- campaign-table -->
# and <!-- /campaign-table -->.
set -euo pipefail
build=${1:-build-fuzz}
coverage=${2:-/dev/null}
document=${3:-}
[ -f "$build/fuzz-runs.tsv" ] || { echo "campaign-table: no $build/fuzz-runs.tsv" >&2; exit 1; }
table=$(awk -F'\t' -v coverage="$coverage" '
  BEGIN {
    while ((getline line < coverage) > 0) {
      split(line, f, " +")
      if (f[1] != "target") share[f[1]] = f[4] " of " f[2]
    }
  }
  {
    if (!($2 in runs)) order[++count] = $2
    runs[$2]++; executions[$2] += $4; seconds[$2] += $3; edges[$2] = $5; features[$2] = $6; corpus[$2] = $7
    if ($8 != "clean" && $8 != "interrupted") crashes[$2]++
  }
  END {
    print "| target | runs | hours | executions | edges | features | corpus | lines reached | crashes |"
    print "|---|---|---|---|---|---|---|---|---|"
    for (i = 1; i <= count; i++) {
      t = order[i]
      lines = (t in share) ? share[t] : "–"
      if (t == "entry" && ("(engine)" in share)) lines = lines "; engine " share["(engine)"]
      printf "| `%s` | %d | %.1f | %\047d | %d | %d | %d | %s | %d |\n", t, runs[t], seconds[t] / 3600,
             executions[t], edges[t], features[t], corpus[t], lines, crashes[t] + 0
    }
  }' "$build/fuzz-runs.tsv")
if [ -z "$document" ]; then
  echo "$table"
  exit 0
fi
grep -q '^<!-- campaign-table -->$' "$document" && grep -q '^<!-- /campaign-table -->$' "$document" ||
  { echo "campaign-table: $document has no campaign-table markers" >&2; exit 1; }
updated=$(mktemp)
TABLE="$table" awk '
  /^<!-- campaign-table -->$/ { print; print ENVIRON["TABLE"]; skip = 1; next }
  /^<!-- \/campaign-table -->$/ { skip = 0 }
  !skip' "$document" >"$updated"
cat "$updated" >"$document"
rm -f "$updated"
