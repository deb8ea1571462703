# Man pages of section 3, from what calls_read.awk has read; see calls_man.sh. One page for the calls that the headers
# describe together, under the name of the first, and a reference to it under each other name; isam.3 has the
# conventions, constants, types, globals and sections, and the globals refer to it.
#
# Variables: "to" is the directory for the pages, "date" and "release" stand in their frame.

# -------------------------------------------------------------------------------------------------- lines

function put(line) { print line >page }

# Text lines of up to 100 characters, of which none looks like a request.
function fill(text,   words, n, i, line) {
    n = split(text, words, " ")
    line = ""
    for (i = 1; i <= n; i++) {
        if (line != "" && length(line) + 1 + length(words[i]) > 100) {
            putText(line)
            line = ""
        }
        line = line (line != "" ? " " : "") words[i]
    }
    if (line != "") putText(line)
}

function putText(line) { put((line ~ /^[.']/ ? "\\&" : "") line) }

function escaped(text) {
    gsub(/\\/, "\\e", text)
    text = withMinus(text)
    gsub(/\^/, "\\(ha", text)
    gsub(/~/, "\\(ti", text)
    gsub(/`/, "\\(ga", text)
    return text
}

# Before a digit it is no hyphen.
function withMinus(text,   out) {
    out = ""
    while (match(text, /-[0-9]/)) {
        out = out substr(text, 1, RSTART - 1) "\\-"
        text = substr(text, RSTART + 1)
    }
    return out text
}

function quoted(text) {
    gsub(/"/, "\\(dq", text)
    return "\"" text "\""
}

function bold(text) { return "\\fB" escaped(text) "\\fR" }

# -------------------------------------------------------------------------------------------------- forms

# No name is broken at a line's end.
function linkTo(name) { return "\\fB\\%" name "\\fR(3)" }

function codeLink(code) { return code }

function marked(word, self) {
    return (self != "" && isParameter(self, word) ? "\\fI" : "\\fB") "\\%" word "\\fR"
}

# What stands between backticks.
function ticked(text,   out) {
    out = ""
    while (match(text, /`[^`]*`/)) {
        out = out substr(text, 1, RSTART - 1) "\\fB" substr(text, RSTART + 1, RLENGTH - 2) "\\fR"
        text = substr(text, RSTART + RLENGTH)
    }
    return out text
}

function putParagraph(text, self) {
    if (!justBegun) put(".PP")
    justBegun = 0
    fill(paragraphLead inline(text, self))
}

function putItem(mark, text, self) {
    if (mark ~ /^[0-9]+\.$/) {
        put(".IP " mark " 4")
    } else {
        put(".TP")
        put(bold(mark))
    }
    fill(paragraphLead inline(text, self))
    justBegun = 0
}

function endItems() {}

function beginCode() {
    put(".PP")
    put(".in +4n")
    put(".nf")
}

function putCode(line) {
    gsub(/\\/, "\\e", line)
    gsub(/-/, "\\-", line)
    gsub(/'/, "\\(aq", line)
    putText(line)
}

function endCode() {
    put(".fi")
    put(".in")
    justBegun = 0
}

function section(title) {
    put(".SH " quoted(toupper(title)))
    justBegun = 1
}

# -------------------------------------------------------------------------------------------------- pages

function beginPage(name, names, text) {
    page = to "/" name ".3"
    put(".\\\" Made from the headers by calls_man.sh: change those, not this page.")
    put(".TH " name " 3 " quoted(date) " " quoted("isam " release) " " quoted("Indexed-sequential files"))
    section("Name")
    fill(names " \\- " text)
}

function putReference(from, name) {
    page = to "/" from ".3"
    put(".so man3/" name ".3")
    close(page)
}

function putSynopsis(header, code,   lines, n, i) {
    section("Synopsis")
    put(".nf")
    put("#include <" header ">")
    n = split(code, lines, "\n")
    for (i = 1; i <= n; i++) {
        if (i == 1) put("")
        putCode(lines[i])
    }
    put(".fi")
}

# What the calls of a group are, each with what stands behind it.
function putOwnTexts(list, n,   i) {
    for (i = 1; i <= n; i++) {
        if (ownText[list[i]] == "") continue
        put(".TP")
        put(bold(list[i]))
        fill(inline(ownText[list[i]], list[i]))
    }
}

function putErrors(g, list, n,   codeList, m, i, code, convention) {
    m = split(codes[g], codeList, " ")
    convention = byConvention(first[g])
    if (m == 0 && convention == "") return
    section("Errors")
    for (i = 1; i <= m; i++) {
        code = codeList[i]
        put(".TP")
        put("\\fB" code "\\fR" (code in codeName ? " (\\fB" codeName[code] "\\fR)" : ""))
        fill(inline(reasons[g, code], first[g]))
    }
    for (i = 1; i <= n; i++) {
        if (i > 1 && byConvention(list[i]) == convention || byConvention(list[i]) == "") continue
        put(".PP")
        fill((i > 1 ? bold(list[i]) ": by" : "By") " the conventions of \\fBisam\\fR(3): " \
            ticked(byConvention(list[i])) ".")
    }
    if (after[g] != "") {
        justBegun = 0
        prose(after[g], first[g])
    }
}

# The calls that a group's text names.
function namedCalls(g,   text, word, seen, all) {
    text = groupText[g]
    all = ""
    while (match(text, /[A-Za-z_][A-Za-z0-9_]*/)) {
        word = substr(text, RSTART, RLENGTH)
        text = substr(text, RSTART + RLENGTH)
        if (!(word in isCall) || groupOf[word] == g || word in seen) continue
        seen[word] = 1
        all = all " " word
    }
    return sorted(all)
}

function putSeeAlso(names,   list, n, i, text) {
    section("See also")
    text = ""
    n = split(names, list, " ")
    for (i = 1; i <= n; i++) text = text linkTo(list[i]) ", "
    fill(text "\\fBisam\\fR(3)")
}

function listedNames(list, n,   i, out) {
    out = list[1]
    for (i = 2; i <= n; i++) out = out ", " list[i]
    return out
}

function putCalls(g,   list, n, i, code) {
    n = split(blockNames[g], list, " ")
    beginPage(first[g], listedNames(list, n), escaped(firstSentence(g)))
    code = ""
    for (i = 1; i <= n; i++) code = code (i > 1 ? "\n" : "") declarationOf[list[i]]
    putSynopsis(blockPart[g], code)
    section("Description")
    prose(before[g], first[g], class[g] != "" ? "[" class[g] "] " : "")
    putOwnTexts(list, n)
    put(".PP")
    fill("What holds for every call" (class[g] != "" ? ", and what [" class[g] "] means," : "") \
        " stands in \\fBisam\\fR(3).")
    putErrors(g, list, n)
    putSeeAlso(namedCalls(g))
    close(page)
    for (i = 2; i <= n; i++) putReference(list[i], first[g])
}

# ----------------------------------------------------------------------------------------------- overview

function putConstants(b,   i, name, text, plain) {
    plain = 0
    prose(blockText[b], "")
    for (i = 1; i <= constants; i++) {
        if (constantBlock[i] != b) continue
        name = constantName[i]
        text = inline(constantText[name], "")
        if (messageOf(name) != "") text = "\\(lq" escaped(messageOf(name)) "\\(rq" (text != "" ? ": " : "") text
        # Names without a text stand one below the other.
        put(text != "" ? ".TP" : plain ? ".br" : ".PP")
        put("\\fB" name "\\fR " escaped(constantValue[name]))
        if (text != "") fill(text)
        plain = text == ""
    }
    justBegun = 0
}

function putGlobals(b,   list, n, i) {
    n = split(blockNames[b], list, " ")
    for (i = 1; i <= n; i++) {
        put(".TP")
        put(bold(declarationOf[list[i]]))
        fill(inline(ownText[list[i]], ""))
    }
    justBegun = 0
}

function putType(b,   lines, n, i) {
    prose(blockText[b], "")
    beginCode()
    n = split(blockCode[b], lines, "\n")
    for (i = 1; i <= n; i++) putCode(lines[i])
    endCode()
}

function putCallList(b,   list, n, i) {
    n = split(blockNames[b], list, " ")
    for (i = 1; i <= n; i++) {
        put(i > 1 ? ".TQ" : ".TP")
        put(linkTo(list[i]))
    }
    fill(escaped(upper(firstSentence(b))) ".")
    justBegun = 0
}

function putOverviewSection(b,   i) {
    section(blockText[b])
    if (blockPart[b] != "isam.h") prose(headText(blockPart[b], "", 0))
    for (i = b + 1; i <= blocks && blockType[i] != "section"; i++) {
        if (blockType[i] == "text") prose(blockText[i])
        if (blockType[i] == "constants") putConstants(i)
        if (blockType[i] == "globals") putGlobals(i)
        if (blockType[i] == "type") putType(i)
        if (blockType[i] == "calls") putCallList(i)
    }
}

function putOverview(   b) {
    beginPage("isam", "isam", "indexed-sequential files")
    putSynopsis("isam.h", "cc program.c -lisam")
    section("Description")
    prose(headText("isam.h", "Conventions", 0), "")
    section("Conventions")
    prose(headText("isam.h", "Conventions", 1), "")
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "section") putOverviewSection(b)
    section("See also")
    put("\\fBisam\\fR(1)")
    close(page)
}

END {
    finishReading()
    putOverview()
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "calls") putCalls(b)
    for (i = 1; i <= nameCount; i++)
        if (!(names[i] in isCall)) putReference(names[i], "isam")
}
