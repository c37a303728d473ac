# Holds the model to the source: each named step is there, the function and its lines in their order, and no
# line of it that takes or leaves a lock is without a step. The source's files are read first, then the model.
#
# Usage: awk -v model=FILE -f steps.awk SOURCE... FILE

BEGIN {
    locking = "Lock\\(|Scoped.*Lock|_guard|unique_lock|Passage|StepAside\\(|Announce\\(|Await|Enter\\(|Leave\\(" \
        "|Pause\\(|GoOn|Advance\\(|notify|wait\\(|BeginAnew\\(|HeldLocks"
}

FILENAME != model { line[FILENAME, FNR] = $0; size[FILENAME] = FNR; next }

match($0, /^(inline|#define) [A-Z][A-Za-z]*_[A-Za-z_]*/) {
    named = substr($0, RSTART, RLENGTH)
    sub(/.* /, "", named)
    gsub(/_/, "::", named)
    isFound = find_anywhere(named)
    if (!isFound) {
        complain(model ":" FNR ": the source has no function " named)
    }
    isOpen = isFound && /^inline/
    at = begin
    delete stepped
    next
}

isOpen && /^}/ {
    for (i = begin + 1; i < end; ++i) {
        if (line[found, i] ~ locking && line[found, i] !~ /^ *\/\// && !(i in stepped)) {
            complain(found ":" i ": no step of " model " stands for this: " line[found, i])
        }
    }
    isOpen = 0
}

isOpen && /[^ ].* \/\/ / {
    step = $0
    sub(/.* \/\/ /, "", step)
    for (i = at; i <= end && index(line[found, i], step) == 0; ++i) { }
    if (i > end) {
        complain(model ":" FNR ": " named " has no such line, or not at this place: " step)
    } else {
        at = i
        stepped[i] = 1
    }
}

END { exit wrong }

function complain(what) {
    print "model: " what
    wrong = 1
}

function find_anywhere(name,   file) {
    for (file in size) {
        if (find(name, file)) {
            return 1
        }
    }
    return 0
}

# Finds the function from the line `begin` to the line `end` of `found`: defined by its whole name, or by its
# last one within its class.
function find(name, file,   i, owner, last, close_, indent) {
    owner = last = name
    sub(/::[^:]*$/, "", owner)
    sub(/.*::/, "", last)
    for (i = 1; i <= size[file]; ++i) {
        match(line[file, i], /^ */)
        indent = substr(line[file, i], 1, RLENGTH)
        if (line[file, i] ~ "(class|struct) ([A-Z_]+ )*" owner " [^;]*$") {
            close_ = indent "};"
        } else if (line[file, i] == close_) {
            close_ = ""
        }
        if (line[file, i] ~ "^[^ ].*[ *&]" name "\\([^;]*$" ||
            close_ != "" && line[file, i] ~ "[ *&]" last "\\(.*\\{") {
            found = file
            begin = i
            for (end = i; line[file, end] !~ "^" indent "[^ ].*}$" && line[file, end] != indent "}"; ++end) { }
            return 1
        }
    }
    return 0
}
