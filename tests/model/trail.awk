# Tells how an error came about: each step with its thread, its function and its line of the source.
#
# Usage: spin -t -p MODEL | awk -f trail.awk MODEL -

NR == FNR {
    text[FNR] = $0
    if (match($0, /^(inline|proctype) [A-Za-z_]+/)) {
        name = substr($0, RSTART, RLENGTH)
        sub(/.* /, "", name)
        gsub(/_/, "::", name)
    }
    within[FNR] = name
    next
}

/START OF CYCLE/ { print "  and from here on for ever:" }

/^#processes/ { print "  where each thread is then:" }

match($0, /\.pml:[0-9]+/) {
    at = substr($0, RSTART + 5, RLENGTH - 5)
    if (!match($0, /proc +[0-9]+ \([A-Za-z]+/)) {
        next
    }
    thread = substr($0, RSTART + 5, RLENGTH - 5)
    gsub(/^ *|\(/, "", thread)
    if (at thread != last) {
        step = text[at]
        sub(/^.* \/\/ /, "", step)
        sub(/^ */, "", step)
        printf "  %-16s %-32s %s\n", thread, within[at], step
    }
    last = at thread
}
