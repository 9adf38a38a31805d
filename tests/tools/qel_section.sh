#!/bin/sh
# `qel section` end to end: a torus cut through its axis and across it gives
# two closed loops, a plane beside it none, and a zero normal is refused.
# Usage: qel_section.sh QEL WORKDIR
set -u
QEL=$1
DIR=$2
mkdir -p "$DIR"
"$QEL" mesh torus --major-radius 10 --minor-radius 3 --size 1 -o "$DIR/torus.stl" > /dev/null || exit 1
for plane in 0,0,0,0,1,0 0,0,0,0,0,1 0,0,1,1,1,1; do
    out=$("$QEL" section "$DIR/torus.stl" --plane $plane --offset 0.25 -o "$DIR/profile.asc") || exit 1
    echo "$out" | grep -q ": 2 sections (2 closed, 0 open)" || { echo "FAIL $plane: $out"; exit 1; }
done
"$QEL" section "$DIR/torus.stl" --plane 0,0,5,0,0,1 -o "$DIR/none.asc" | grep -q ": 0 sections" || exit 1
if "$QEL" section "$DIR/torus.stl" --plane 0,0,0,0,0,0 -o "$DIR/bad.asc" 2> /dev/null; then
    echo "FAIL: a zero normal was accepted"
    exit 1
fi
