# The reference page of the exported calls, in Markdown, from what calls_read.awk has read; see calls_page.sh.

# A heading's anchor, as all common viewers make it of letters, digits, blanks, "_" and dropped commas.
function anchor(title) {
    title = tolower(title)
    gsub(/[^a-z0-9_ -]/, "", title)
    gsub(/ /, "-", title)
    return "#" title
}

function linkTo(name) { return "[" name "](" anchor(name) ")" }

function codeLink(code) { return "[" code "](" anchor(codeName[code]) ")" }

function escaped(text) {
    gsub(/[*<>|_\\]/, "\\\\&", text)
    return text
}

# Text in lines of 120 characters. A line begins with nothing that would make it a list or a heading.
function wrapped(text, lead, indent,   words, n, i, out, line) {
    n = split(text, words, " ")
    out = ""
    line = lead words[1]
    for (i = 2; i <= n; i++) {
        if (length(line) + 1 + length(words[i]) > 120 && words[i] ~ /^[A-Za-z`(\[]/) {
            out = out line "\n"
            line = indent words[i]
        } else {
            line = line " " words[i]
        }
    }
    return out line
}

function marked(word, self) { return "`" word "`" }

function putParagraph(text, self) { print wrapped(paragraphLead inline(text, self), "", "") "\n" }

function putItem(mark, text, self,   lead) {
    lead = mark ~ /^[0-9]+\.$/ ? mark " " : "- `" mark "`: "
    print wrapped(paragraphLead inline(text, self), lead, indentOf(lead))
}

function endItems() { print "" }

function beginCode() { print "```c" }

function putCode(line) { print line }

function endCode() { print "```\n" }

function indentOf(mark) {
    if (mark ~ /^-/) return "  "
    gsub(/./, " ", mark)
    return mark
}

function heading(title) {
    if (anchor(title) in anchors) fail("two headings have the anchor " anchor(title))
    anchors[anchor(title)] = 1
    return title
}

function printSection(title) { print "## " heading(title) "\n" }

function printConstants(b,   i, name, withMessage, withText) {
    prose(blockText[b], "")
    withText = withMessage = 0
    for (i = 1; i <= constants; i++) {
        if (constantBlock[i] != b) continue
        if (constantText[constantName[i]] != "") withText = 1
        if (messageOf(constantName[i]) != "") withMessage = 1
    }
    print "| Name | Value |" (withMessage ? " Message |" : "") (withText ? " Meaning |" : "")
    print "|---|---|" (withMessage ? "---|" : "") (withText ? "---|" : "")
    for (i = 1; i <= constants; i++) {
        if (constantBlock[i] != b) continue
        name = constantName[i]
        print "| " (isCode(name) ? linkTo(name) : "`" name "`") " | " constantValue[name] " |" \
            (withMessage ? " " escaped(messageOf(name)) " |" : "") \
            (withText ? " " inline(constantText[name], "") " |" : "")
    }
    print ""
}

function printGlobals(b,   list, n, i) {
    n = split(blockNames[b], list, " ")
    if (blockType[b - 1] != "globals") print "| Global | Meaning |\n|---|---|"
    for (i = 1; i <= n; i++) print "| `" declarationOf[list[i]] "` | " inline(ownText[list[i]], "") " |"
    if (blockType[b + 1] != "globals") print ""
}

function printErrors(name,   g, list, n, i, convention) {
    g = groupOf[name]
    n = split(codes[g], list, " ")
    convention = byConvention(name)
    if (n > 0) {
        print "| Error | Name | Message | When |"
        print "|---|---|---|---|"
        for (i = 1; i <= n; i++) {
            if (list[i] in codeName)
                print "| " list[i] " | " linkTo(codeName[list[i]]) " | " messageOf(codeName[list[i]]) " | " \
                    inline(reasons[g, list[i]], name) " |"
            else
                print "| " list[i] " | | | " inline(reasons[g, list[i]], name) " |"
        }
        print ""
    }
    if (convention != "") print wrapped("By [convention](#conventions): " convention ".", "", "") "\n"
}

function printCalls(g,   list, n, i, name, lead, own) {
    n = split(blockNames[g], list, " ")
    for (i = 1; i <= n; i++) {
        name = list[i]
        print "### " heading(name) "\n"
        print "```c\n" declarationOf[name] "\n```\n"
        lead = class[g] != "" ? "`[" class[g] "]` " : ""
        if (i == 1) {
            prose(before[g], name, lead)
            if (ownText[name] != "") print "`" name "`: " inline(ownText[name], name) ".\n"
        } else {
            own = ownText[name] != "" ? "`" name "`: " inline(ownText[name], name) "; see " : "See "
            print lead own linkTo(list[1]) ".\n"
        }
        printErrors(name)
        if (i == 1 && after[g] != "") prose(after[g], name)
    }
}

# First sentence of what is said about a name.
function summary(name,   text) {
    text = ownText[name]
    if (text == "" && name in groupOf) {
        if (first[groupOf[name]] != name) return "see " linkTo(first[groupOf[name]])
        text = firstSentence(groupOf[name])
    }
    return inline(text, name)
}

function printNameIndex(   list, n, i, all) {
    printSection("Index of calls and globals")
    all = ""
    for (i = 1; i <= nameCount; i++) all = all " " names[i]
    n = split(sorted(all), list, " ")
    for (i = 1; i <= n; i++)
        print "- " (list[i] in isCall ? linkTo(list[i]) : "[" list[i] "](#globals)") ": " summary(list[i])
    print ""
}

function listed(all, list, n, i, out) {
    n = split(sorted(all), list, " ")
    out = ""
    for (i = 1; i <= n; i++) out = out (i > 1 ? ", " : "") linkTo(list[i])
    return out
}

function printCodeIndex(   code, i, set, agreed, reserved, errnos, all, list, n, name, g) {
    printSection("Index of error codes")
    print "The calls that set a code; behind \"by convention\" those whose own lists leave it to the"
    print "[conventions](#conventions).\n"
    reserved = ""
    for (code = 100; code in codeName; code++) {
        set = agreed = ""
        for (i = 1; i <= nameCount; i++) {
            name = names[i]
            if (!(name in isCall)) continue
            if ((groupOf[name], code) in reasons)
                set = set " " name
            else if ((name, code) in conventional)
                agreed = agreed " " name
        }
        if (constantText[codeName[code]] == "reserved") {
            if (set agreed != "") fail(code " is reserved, but set by" set agreed)
            reserved = reserved (reserved != "" ? ", " : "") "`" codeName[code] "`"
        } else if (set agreed == "") {
            fail(code " is set by no call")
        }
        print "### " heading(codeName[code]) "\n"
        print code ", \"" messageOf(codeName[code]) "\": " inline(constantText[codeName[code]], "") ".\n"
        if (set agreed != "")
            print wrapped(listed(set) (set != "" && agreed != "" ? "; " : "") (agreed != "" ? "by convention " : "") \
                listed(agreed) ".", "", "") "\n"
    }
    all = ""
    for (i = 1; i <= nameCount; i++) {
        if (!(names[i] in isCall)) continue
        g = groupOf[names[i]]
        n = split(codes[g], list, " ")
        for (; n > 0; n--) {
            if (list[n] !~ /^E/) continue
            if (!(list[n] in errnos)) all = all " " list[n]
            errnos[list[n]] = errnos[list[n]] " " names[i]
        }
    }
    print "### " heading("System errors") "\n"
    print "The system's own numbers, in `iserrno`, as far as calls name them:\n"
    n = split(sorted(all), list, " ")
    for (i = 1; i <= n; i++) print "- `" list[i] "`: " listed(errnos[list[i]])
}

function printContents(   b, title, calls, i, n, list) {
    title = ""
    calls = ""
    for (b = 1; b <= blocks + 1; b++) {
        if (b > blocks || blockType[b] == "section") {
            if (title != "") print wrapped("- " linkTo(title) (calls != "" ? ": " calls : ""), "", "  ")
            title = blockText[b]
            calls = ""
        } else if (blockType[b] == "calls") {
            n = split(blockNames[b], list, " ")
            for (i = 1; i <= n; i++)
                calls = calls (calls != "" ? ", " : "") linkTo(list[i])
        }
    }
}

# A section: first what stands between its calls, since on the page it would seem to belong to the call before it.
function printBlocks(section,   b) {
    printSection(blockText[section])
    if (blockPart[section] != "isam.h") prose(headText(blockPart[section], "", 0))
    for (b = section + 1; b <= blocks && blockType[b] != "section"; b++) {
        if (blockType[b] == "text") prose(blockText[b])
        if (blockType[b] == "constants") printConstants(b)
        if (blockType[b] == "globals") printGlobals(b)
        if (blockType[b] == "type") {
            prose(blockText[b])
            print "```c\n" blockCode[b] "\n```\n"
        }
    }
    for (b = section + 1; b <= blocks && blockType[b] != "section"; b++)
        if (blockType[b] == "calls") printCalls(b)
}

END {
    finishReading()
    print "# The calls of the library\n"
    print "What the headers `isam.h`, `isam_names.h` and `isam_maint.h` say, call by call, each with all its errors."
    print "Made from them by `cmake/calls_page.sh`: change the headers, not this page.\n"
    prose(headText("isam.h", "Conventions", 0), "")
    print "- [Conventions](#conventions)"
    printContents()
    print "- [Index of calls and globals](#index-of-calls-and-globals)"
    print "- [Index of error codes](#index-of-error-codes)\n"
    printSection("Conventions")
    prose(headText("isam.h", "Conventions", 1), "")
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "section") printBlocks(b)
    printNameIndex()
    printCodeIndex()
}
