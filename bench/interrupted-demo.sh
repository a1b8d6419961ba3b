#!/usr/bin/env bash
# A demo of N users (2,000 by default) migrated unattended three ways, each timed: in
# one go; killed with SIGKILL when half its users are written and resumed from its
# journal; stopped with SIGTERM at the same point (exit status 3) and resumed. The two
# interrupted runs must end with the Directory users, outcome file and report counts of
# the uninterrupted one. Needs sqlite3 (the command-line tool) to compare the Directories.
#
# Usage: bench/interrupted-demo.sh [BUILD_DIR] [USERS]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
users=${2:-2000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$build/varnel-migrate" --demo "$work/pristine" --users "$users" --no-wizard >/dev/null
cat >"$work/answers.ini" <<ANSWERS
[source]
server=sqlite:demo
authentication=windows
database=Varnel
[stores]
exchange55=EXCH55
could-not-add-store=continue
[users]
migrate=all
[conflicts]
default=replace
[email]
template=New password
[profiles]
migrate=all
[report]
save=report.txt
ANSWERS

# One way of running, in a folder of its own with the program linked in (so that its
# log and journal go there): run <name> [stop point].
run() {
  local name=$1 stop=${2:-}
  local dir=$work/$name
  mkdir -p "$dir"
  cp -r "$work/pristine" "$dir/demo"
  sed -i "s#$work/pristine#$dir/demo#g" "$dir/demo/zephrin.ini"
  ln "$build/varnel-migrate" "$dir/varnel-migrate" 2>/dev/null || cp "$build/varnel-migrate" "$dir/"
  cp "$work/answers.ini" "$dir/"
  cd "$dir"
  local start status
  start=$(date +%s.%N)
  set +e
  VARNEL_TEST_JOURNAL_STOP=$stop ./varnel-migrate --config demo/zephrin.ini \
    --answers answers.ini --outcome outcome.csv >out.txt 2>err.txt
  status=$?
  set -e
  printf '%-28s %6.1f s  exit %s\n' "$name" "$(echo "$(date +%s.%N) - $start" | bc)" "$status"
  if [ -n "$stop" ]; then
    start=$(date +%s.%N)
    set +e
    ./varnel-migrate --config demo/zephrin.ini --resume "$(ls "$dir"/MigrationLog*-Journal*.sqlite)" \
      --outcome outcome.csv >out.txt 2>err.txt
    status=$?
    set -e
    printf '%-28s %6.1f s  exit %s\n' "  its resume" "$(echo "$(date +%s.%N) - $start" | bc)" "$status"
  fi
  sqlite3 demo/Directory.sqlite 'SELECT UserID, FirstName, LastName, LoginID, DefaultServiceID FROM fwtUser ORDER BY UserID' >directory.txt
  tail -3 out.txt >counts.txt
  cd - >/dev/null
}

half=$((users / 2))
run whole
run "killed at user $half" "user-written:$half"
run "SIGTERM at user $half" "user-done:$half:TERM"
for name in "killed at user $half" "SIGTERM at user $half"; do
  for file in directory.txt outcome.csv counts.txt; do
    if cmp -s "$work/whole/$file" "$work/$name/$file"; then
      echo "$name: $file the same as the run in one go"
    else
      echo "$name: $file DIFFERS"; diff "$work/whole/$file" "$work/$name/$file" | head -5
    fi
  done
done
