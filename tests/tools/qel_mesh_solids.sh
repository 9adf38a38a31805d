#!/bin/sh
# Every closed solid of `qel mesh`, written to a file and read back by
# `qel info`: reported closed, in one piece, without non-manifold edges, and
# enclosing the volume of its formula within the discretisation error.
# Usage: qel_mesh_solids.sh QEL WORKDIR
set -u
QEL=$1
DIR=$2
mkdir -p "$DIR"
failures=0

# check NAME EXPECTED_VOLUME RELATIVE_TOLERANCE EXTENSION -- qel mesh arguments
check() {
    name=$1 expected=$2 tolerance=$3 ext=$4
    shift 5
    file="$DIR/$name.$ext"
    if ! "$QEL" mesh "$@" -o "$file" > /dev/null; then
        echo "FAIL $name: qel mesh $*"
        failures=$((failures + 1))
        return
    fi
    info=$("$QEL" info "$file")
    volume=$(echo "$info" | sed -n 's/^  enclosed volume: \([0-9.e+-]*\)$/\1/p')
    if ! echo "$info" | grep -q "^  closed, 1 component, 0 boundary edges in 0 boundary loops, 0 non-manifold edges$" ||
        [ -z "$volume" ] ||
        ! awk -v v="$volume" -v e="$expected" -v t="$tolerance" 'BEGIN { d = v / e - 1; exit !(d < t && d > -t) }'; then
        echo "FAIL $name ($file): expected closed with volume $expected"
        echo "$info"
        failures=$((failures + 1))
        return
    fi
    echo "ok   $name: volume $volume (formula $expected)"
}

pi=3.14159265358979
check sphere "$(awk "BEGIN { print 4 / 3 * $pi * 8 }")" 0.01 qel -- sphere --centre 1,2,3 --radius 2 --splits 5
check cuboid 24 1e-9 ply -- cuboid --corner 4,3,2 --opposite 0,0,0 --splits 2
check cylinder "$(awk "BEGIN { print $pi * 4 * 10 }")" 0.01 stl -- cylinder --base-centre 0,0,0 --top-centre 0,6,8 --radius 2 --size 0.2
check cone "$(awk "BEGIN { print $pi * 4 * 5 / 3 }")" 0.01 obj -- cone --base-centre 1,1,1 --apex 1,1,-4 --radius 2 --size 0.2
check torus "$(awk "BEGIN { print 2 * $pi * $pi * 4 }")" 0.01 off -- torus --normal 1,1,1 --major-radius 4 --minor-radius 1 --size 0.15
check revolve "$(awk "BEGIN { print $pi * 4 * 3 }")" 0.01 tri -- revolve --profile "0,0,0;2,0,0;2,0,3;0,0,3" --size 0.2
check tube "$(awk "BEGIN { print $pi * 4 / 3 * 7 }")" 0.01 raw -- tube --through "0,0,0;0,2,0;0,4,0" --start-radius 1 --end-radius 2 --size 0.1 --circles 41
"$QEL" mesh circle --radius 1 --size 0.1 -o "$DIR/disc.qel" > /dev/null &&
    check shell "$(awk "BEGIN { print $pi * 0.5 }")" 0.01 qel -- shell --input "$DIR/disc.qel" --distance 0.5 --layers 2

echo "$((8 - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
