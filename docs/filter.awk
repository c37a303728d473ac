# Hands Doxygen the headers and the pages as it understands them, line for line.
#
# A header: what it says first, about itself, is its description; one comment stands for a run of
# overloads or macros without a blank line between; and of constructors, destructors and the like that
# have no comment, the signature says all: these are left out.
#
# A page: links lead to headings by the names that they have on the web, and to files of the tree.

function indented(comment) {
    match(line, /^ */)
    return substr(line, 1, RLENGTH) "/** " comment " */ " substr(line, RLENGTH + 1)
}

# The name that a line declares as a function or macro, or "".
function declared(text) {
    if (sub(/^#define /, "", text)) {
        sub(/[^A-Za-z0-9_].*/, "", text)
        return text
    }
    gsub(/TARQLOG_[A-Z_]+ /, "", text)
    if (!match(text, /(operator[^(]+|[A-Za-z_0-9~]+)\(/)) {
        return ""
    }
    return substr(text, RSTART, RLENGTH - 1)
}

function is_trivial(name) {
    return line ~ /^ *(virtual )?~/ || line ~ /= (delete|default);$/ ||
        name == class && line ~ ("[( ]" name "\\((|" name " const& [a-z]*|" name "&& [a-z]*)\\)") ||
        line ~ ("operator=\\(" class "( const)?&") ||
        line ~ / override;$/ && name ~ /^[a-z]/  # the standard's comment holds
}

# Whether the blank line `at` precedes what a header says about itself: between blank lines, right behind
# the guard or the first namespace.
function begins_description(at) {
    if (described || lines[at] != "" || lines[at - 1] !~ /^#define .*_H_$|^namespace .*{$/) {
        return 0
    }
    while (lines[++at] ~ /^\/\//) {
        described = 1
    }
    return described && lines[at] == ""
}

function header_line(at,    name) {
    if (at == 1) {
        return "/** @file */ " line
    }
    if (begins_description(at)) {
        in_description = 1
        return "/** @file"
    }
    if (in_description) {
        in_description = line != ""
        return in_description ? substr(line, 3) : "*/"
    }
    if (line ~ /^ *(class|struct) .*{$/) {
        class = line
        sub(/^ *(class|struct) (TARQLOG_[A-Z_]+(\("[a-z ]*"\))? )*/, "", class)
        sub(/[^A-Za-z].*/, "", class)
    }
    if (line ~ /^ *\/\/\/( |$)/) {
        name = line
        sub(/^ *\/\/\/ ?/, "", name)
        comment = comment " " name
        return line
    }
    name = declared(line)
    if (line ~ /^ *($|\/\/|}|#[ei][nfl])/) {
        run = line ~ /^ *$/ ? "" : run
        comment = ""
    } else if (comment != "") {
        run = name
        text = comment
        comment = ""
    } else if (name != "" && is_trivial(name)) {
        return indented("@private")
    } else if (run != "" && line ~ /^#define/) {
        return indented(text)
    } else if (run != "" && name == run) {
        return indented("@overload")
    }
    return line
}

function anchor(heading) {
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/ /, "-", heading)
    return heading
}

function page_name(path) {
    sub(/.*\//, "", path)
    sub(/\.md$/, "", path)
    return tolower(path)
}

# `path`, which `page` leads to, as it is seen from the folder of the tree.
function from_root(page, path) {
    sub("^" ENVIRON["PWD"] "/", "", page)
    sub(/[^\/]*$/, "", page)
    path = page path
    while (path ~ /[^\/.]+\/\.\.\//) {
        sub(/[^\/.]+\/\.\.\//, "", path)
    }
    return path
}

# A line whose links lead to what the site has: headings and headers by their names there, and other
# files in the folder `files`, where scripts/docs puts them.
function linked(text,    done, before, label, target, parts) {
    done = ""
    while (match(text, /\]\([^)]+\)/)) {
        target = substr(text, RSTART + 2, RLENGTH - 3)
        before = substr(text, 1, RSTART + 1)
        text = substr(text, RSTART + RLENGTH)
        if (target ~ /^https?:/) {
            # another place
        } else if (target ~ /#/) {
            split(target, parts, "#")
            target = "@ref " page_name(parts[1] == "" ? FILENAME : parts[1]) "-" parts[2]
            match(before, /\[[^[]*$/)  # whose text knows no code
            label = substr(before, RSTART)
            gsub(/`/, "", label)
            before = substr(before, 1, RSTART - 1) label
        } else if (target ~ /include\/tarqlog\/[a-z_]+\.h$/) {
            sub(/.*\//, "", target)
            target = "@ref " target
        } else if (target ~ /include\/tarqlog$/) {
            target = "files.html"
        } else if (target !~ /\.(md|svg)$/) {
            target = "files/" from_root(FILENAME, target)
        }
        done = done before target ")"
    }
    return done text
}

function page_line() {
    if (line ~ /^```/) {
        inside = !inside
    } else if (!inside && line ~ /^##+ /) {
        match(line, /^##+ /)
        line = line " {#" page_name(FILENAME) "-" anchor(substr(line, RLENGTH + 1)) "}"
    } else if (!inside) {
        line = linked(line)
        gsub(/`%/, "`%%", line)  # or the sign would be lost
    }
    return line
}

{ lines[NR] = $0 }

END {
    for (number = 1; number <= NR; ++number) {
        line = lines[number]
        print FILENAME ~ /\.h$/ ? header_line(number) : page_line()
    }
}
