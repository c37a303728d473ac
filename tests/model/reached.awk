# Prints each line of a scenario and of the library that has states, and how many of these were reached, from
# what pan says at its end (log) and of its states (pan -d).
#
# Usage: awk -v scenario=NAME -f reached.awk library.pml NAME.pml log states

FILENAME ~ /library.pml$/ { size = FNR; next }
FILENAME ~ /pml$/ {
    if (/^#include "library.pml"$/) {
        first = FNR
    }
    next
}
/^unreached in proctype / { process = $4; next }
/^proctype / { process = $2; next }
!match($0, /model.pml:[0-9]+/) || /-end-/ { next }
{ at = substr($0, RSTART + 10, RLENGTH - 10) + 0 }
FILENAME ~ /log$/ {
    sub(/,/, "", $3)
    missed[process, $3] = 1
    next
}
$1 == "state" {
    if (at < first) {
        name = scenario " " at
    } else if (at < first + size) {
        name = "library " at - first + 1
    } else {
        name = scenario " " at - size + 1
    }
    reached[name] += !((process, $2) in missed)
}
END {
    for (name in reached) {
        print name, reached[name]
    }
}
