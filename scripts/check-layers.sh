#!/bin/sh
# Layers point one way: a room includes only itself and the rooms below it,
# and only platform/ makes the calls to the operating system listed below.
# Usage: scripts/check-layers.sh [repository root]; prints each violation and
# exits 1 if there is any. tests/, bench/, fuzz/ and examples/ may include
# anything; rooms that do not exist yet are skipped.
cd "${1:-$(dirname "$0")/..}" || exit 2

ROOMS="platform core spatial entities operations formats app tools"
OS_CALLS='mmap|munmap|mremap|rename|renameat|fsync|fdatasync|mkstemp|mkostemp|sem_open|sem_wait|sem_post|madvise|malloc_usable_size|setpriority|sigaction|sigaltstack'

rank() {
    n=0
    for room in $ROOMS; do
        [ "$room" = "$1" ] && { echo $n; return; }
        n=$((n + 1))
    done
    echo -1
}

violations() {
    for room in $ROOMS; do
        [ -d "$room" ] || continue
        own=$(rank "$room")
        find "$room" -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.h.in' \) | sort |
            while read -r file; do
                # Each quoted include that names a room: "room/...".
                grep -n '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[a-z_]*/' "$file" |
                    sed 's/^\([0-9]*\):[^"]*"\([a-z_]*\)\/.*/\1 \2/' |
                    while read -r line included; do
                        if [ "$(rank "$included")" -gt "$own" ]; then
                            echo "$file:$line: $room/ includes $included/, a room above it"
                        fi
                    done
                # Calls to the operating system outside platform/, comments aside.
                if [ "$room" != platform ]; then
                    sed 's://.*$::' "$file" | grep -nE "(^|[^A-Za-z0-9_.>])(::)?($OS_CALLS)[[:space:]]*\(" |
                        sed "s|^\([0-9]*\):[[:space:]]*\(.*\)|$file:\1: calls the operating system outside platform/: \2|"
                fi
            done
    done
}

found=$(violations)
if [ -n "$found" ]; then
    echo "$found"
    echo "check-layers: $(echo "$found" | wc -l) violation(s); see the floors in DEVELOPERS.md"
    exit 1
fi
echo "check-layers: clean"
