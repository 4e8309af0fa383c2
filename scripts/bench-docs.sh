#!/bin/sh
# Measures everything docs/performance.md shows and writes the tables into it, which takes about
# ten minutes of an otherwise quiet machine. With --from FOLDER the output of an
# earlier run is used: FOLDER/peers.md, table.txt, worst.txt, engine.txt, scaling.txt.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

results=$root/build/bench
if [ "${1-}" = --from ] && [ $# = 2 ]; then
    results=$2
elif [ $# -gt 0 ]; then
    die "usage: scripts/bench-docs.sh [--from FOLDER]"
else
    mkdir -p "$results"
    "$root/scripts/bench-peers.sh" --install >"$results/peers.md"
    bench=$root/build/release/bench/imgcnv_bench
    "$bench" --table >"$results/table.txt"
    best=avx2 second=sse4
    ! grep -q avx512_vbmi /proc/cpuinfo || { best=avx512 second=avx2; }
    "$bench" --worst --level $best --level $second >"$results/worst.txt"
    "${bench}_engine" >"$results/engine.txt"
    "$bench" --scaling --level $best --minimum >"$results/scaling.txt"
fi

# What stands between "<!-- NAME -->" and "<!-- end NAME -->" becomes the file, as text unless it
# is Markdown.
insert() {
    awk -v name="$1" -v file="$2" '
        $0 == "<!-- end " name " -->" { inside = 0 }
        !inside { print }
        $0 == "<!-- " name " -->" {
            inside = 1
            fenced = file !~ /[.]md$/
            print ""
            if (fenced) print "```text"
            while ((getline line < file) > 0) print line
            if (fenced) print "```"
            print ""
        }' "$page" >"$page.new"
    mv "$page.new" "$page"
}

page=$root/docs/performance.md
insert peers "$results/peers.md"
insert levels "$results/table.txt"
insert worst "$results/worst.txt"
insert engine "$results/engine.txt"
insert scaling "$results/scaling.txt"
/usr/bin/python3 "$root/tests/docs/speed_tables.py"
