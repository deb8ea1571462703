# Reads the reasons in README.md, then the annotated sources, which have every template once for each of its instances.
# Prints the share of the lines and branches that have been run, and writes those that have not to the file "list".

# | src/tree/isgrow.cpp | `the code there` | why no test gets there |
FILENAME != source && FNR == 1 { source = FILENAME; ++reading }
reading == 1 {
    if ($0 !~ /^\| src\//) next
    split($0, column, / *\| */)
    ++reasons
    place[reasons] = column[2]
    code[reasons] = substr(column[3], 2, length(column[3]) - 2)
    reason[reasons] = column[4]
    next
}

/^\/.*:$/ {
    file = $0
    sub(/:$/, "", file)
    sub(/.*\/src\//, "src/", file)
    next
}

# "   12|    34|code"; without a count there is nothing to run.
/^ *[0-9]+\| *[^|]*\|/ {
    split($0, column, "|")
    number = column[1] + 0
    count = column[2]
    gsub(/ /, "", count)
    source_line = $0
    sub(/^[^|]*\|[^|]*\|/, "", source_line)
    text[file, number] = source_line
    if (count == "" || source_line ~ /^ *([{}() ;,]*|\/\/.*)$/) next
    note(file ":" number, "line")
    if (count != "0") ran[file ":" number]
    next
}

# "|  Branch (12:9): [True: 3, False: 0]"; what the compiler decides is marked as folded.
/^ *\|  Branch \(/ && !/Folded/ {
    match($0, /[0-9]+:[0-9]+/)
    key = file ":" substr($0, RSTART, RLENGTH)
    note(key, "branch")
    if ($0 !~ /True: 0,/) taken[key]
    if ($0 !~ /False: 0\]/) passed[key]
}

function note(key, what) {
    if (key in kind) return
    kind[key] = what
    order[++keys] = key
}

# The reason for not running the place, or "".
function explain(file, source_line,    i) {
    for (i = 1; i <= reasons; ++i)
        if (place[i] == file && index(source_line, code[i]) > 0) return reason[i]
    return ""
}

function report(key, what, file, source_line,    why) {
    why = explain(file, source_line)
    if (why == "") ++unexplained
    sub(/^ */, "", source_line)
    printf "%s: %s: %s\n    %s\n", key, what, source_line, why == "" ? "NOT EXPLAINED" : why >list
    ++places
}

function percent(part, whole) { return whole == 0 ? 100 : 100 * part / whole }

function row(name, lines, lines_ran, branches, branches_taken) {
    printf "%-12s %6d %8.2f%% %9d %8.2f%%\n", name, lines, percent(lines_ran, lines), branches,
        percent(branches_taken, branches)
}

END {
    printf "" >list
    for (i = 1; i <= keys; ++i) {
        key = order[i]
        split(key, part, ":")
        folder = part[1]
        sub(/\/[^\/]*$/, "", folder)
        if (!(folder in lines)) {
            folders[++folder_count] = folder
            lines[folder] = lines_ran[folder] = branches[folder] = branches_taken[folder] = 0
        }
        if (kind[key] == "line") {
            ++lines[folder]
            if (key in ran)
                ++lines_ran[folder]
            else
                report(key, "not run", part[1], text[part[1], part[2]])
        } else {
            branches[folder] += 2
            missing = ""
            if (key in taken) ++branches_taken[folder]; else missing = "never true"
            if (key in passed) ++branches_taken[folder]; else missing = missing (missing == "" ? "" : ", ") "never false"
            if (missing != "")
                report(key, missing " from \"" substr(text[part[1], part[2]], part[3], 30) "\"", part[1],
                    text[part[1], part[2]])
        }
    }
    printf "%-12s %6s %9s %9s %9s\n", "", "lines", "run", "branches", "taken"
    for (i = 1; i <= folder_count; ++i) {
        folder = folders[i]
        row(folder, lines[folder], lines_ran[folder], branches[folder], branches_taken[folder])
        all_lines += lines[folder]
        all_ran += lines_ran[folder]
        all_branches += branches[folder]
        all_taken += branches_taken[folder]
    }
    row("all", all_lines, all_ran, all_branches, all_taken)
    printf "coverage: %.2f%% of %d lines, %.2f%% of %d branches; %d places not covered, %d of them without a reason (%s)\n",
        percent(all_ran, all_lines), all_lines, percent(all_taken, all_branches), all_branches, places, unexplained, list
    if (keys == 0 || percent(all_ran, all_lines) < least_lines || percent(all_taken, all_branches) < least_branches) {
        print "coverage: below " least_lines "% of the lines or " least_branches "% of the branches"
        exit 1
    }
}
