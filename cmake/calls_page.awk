# The reference page of the exported calls, in Markdown, from the public headers; see calls_page.sh.
#
# Input: src/base/isglobal.cpp for the messages, then the headers; the variable "part" tells which. From a header come
#   - the comment at its beginning, with the numbered conventions,
#   - comments that begin with a row of dashes: a section's title, and perhaps a text,
#   - comments before a blank line: text of the section,
#   - constants (#define NAME VALUE), types and declarations (ISAM_API), with the comment before them and the one
#     behind them on the line.
# In the comment on a call, [read], [write] or [any] is its class. Behind "Errors:" stand its errors, up to the first
# full stop, parted by semicolons. Each is one of
#   103 no such index                   a code, or several: 110, 111 and 120 to 122, with the reason
#   101                                 a code for the reason that its definition gives
#   ENOENT with iserrio 0x11 ...        a failed system call
#   131 as for iswrite[, and ...]       that error of another call
#   as for iserase                      all errors of another call

function fail(message) {
    print "calls_page: " message | "cat 1>&2"
    broken = 1
    exit 1
}

# ------------------------------------------------------------------------------------------------- reading

function addBlock(type) {
    blocks++
    blockType[blocks] = type
    blockPart[blocks] = part
    return blocks
}

function addText(text) {
    if (text != "") blockText[addBlock("text")] = text
}

# What stands before this line belongs together with nothing behind it.
function endGroup() {
    addText(pending)
    pending = ""
    group = defines = 0
}

# What a header is for, from its first line: "name.h - for maintenance tools: ..".
function headTitle(text) {
    sub(/^\n*[^ ]* - (for )?/, "", text)
    sub(/[:.\n].*/, "", text)
    return upper(text)
}

function commentEnds() {
    sub(/ *\*\/$/, "", comment)
    inComment = 0
    if (!(part in head)) {
        head[part] = comment
        if (part != "isam.h") blockText[addBlock("section")] = headTitle(comment)
    } else if (comment ~ /^-----/) {
        endGroup()
        title = comment
        sub(/\n.*/, "", title)
        sub(/^-+ */, "", title)
        blockText[addBlock("section")] = upper(title)
        sub(/^[^\n]*\n*/, "", comment)
        pending = comment
        if (pending != "") endGroup()
    } else {
        endGroup()
        pending = comment
    }
}

# The comment on a line's end, without its marks.
function behind(line) {
    if (!match(line, /\/\*.*\*\//)) return ""
    line = substr(line, RSTART + 2, RLENGTH - 4)
    gsub(/^ +| +$/, "", line)
    return line
}

function addConstant(line,   words, value) {
    split(line, words, " ")
    value = line
    sub(/^#define +[A-Za-z0-9_]+ */, "", value)
    sub(/ *\/\*.*/, "", value)
    if (value == "" || words[2] == "ISAM_API") return
    if (!defines) {
        defines = addBlock("constants")
        blockText[defines] = pending
        pending = ""
    }
    constants++
    constantName[constants] = words[2]
    constantValue[words[2]] = value
    constantText[words[2]] = behind(line)
    constantBlock[constants] = defines
    if (words[2] ~ /^ISERR_/ && value ~ /^1[0-9][0-9]$/ && !(value in codeName)) codeName[value] = words[2]
}

function addType(code,   b) {
    b = addBlock("type")
    blockText[b] = pending
    blockCode[b] = code
    pending = ""
    sub(/;[^;]*$/, "", code)
    match(code, /[A-Za-z0-9_]+$/)
    isWord[substr(code, RSTART)] = 1
}

function addDeclaration(line,   name, isGlobal, declaration) {
    isGlobal = line ~ /^extern/
    declaration = line
    sub(/;.*/, ";", declaration)
    sub(/^extern ISAM_API |^ISAM_API /, "", declaration)
    name = declaration
    sub(/[(\[;].*/, "", name)
    sub(/.*[ *]/, "", name)
    if (name in declarationOf) fail(name " is declared twice")
    declarationOf[name] = declaration
    ownText[name] = behind(line)
    names[++nameCount] = name
    if (isGlobal) {
        isWord[name] = 1
        if (!group) group = addBlock("globals")
        blockNames[group] = blockNames[group] " " name
        return
    }
    if (!group) {
        group = addBlock("calls")
        groupText[group] = pending
        pending = ""
        first[group] = name
    }
    isCall[name] = 1
    groupOf[name] = group
    blockNames[group] = blockNames[group] " " name
}

part == "messages" && /is_errlist\[\] =/ { table = "error" }
part == "messages" && /isCheckMsg\[\] =/ { table = "check" }
part == "messages" && /^[}];/ { table = "" }
part == "messages" {
    if (table != "" && match($0, /".*"/)) message[table, count[table]++] = substr($0, RSTART + 1, RLENGTH - 2)
    next
}

inComment {
    sub(/^ \*( |$)/, "")
    sub(/^ \*\/$/, "*/")
    comment = comment "\n" $0
    if ($0 ~ /\*\/$/) commentEnds()
    next
}
/^\/\*/ {
    comment = $0
    sub(/^\/\* ?/, "", comment)
    inComment = 1
    if (comment ~ /\*\/$/) commentEnds()
    next
}
inType {
    typeCode = typeCode "\n" $0
    if ($0 ~ /^[}]/) {
        inType = 0
        addType(typeCode)
    }
    next
}
/^typedef .*[{]$/ {
    inType = 1
    typeCode = $0
    next
}
/^typedef / {
    addType($0)
    next
}
/^(extern )?ISAM_API / {
    while ($0 !~ /;/ && (getline rest) > 0) {
        sub(/^ +/, " ", rest)
        $0 = $0 rest
    }
    addDeclaration($0)
    next
}
/^#define / {
    addConstant($0)
    next
}
/^$/ { endGroup() }

# -------------------------------------------------------------------------------------------------- errors

# Splits the comment of each group: prose before the errors, the errors, prose after them, the class.
function splitComment(g,   text, place, rest) {
    text = groupText[g]
    if (match(text, /[ \n]\[[a-z:, ]*(read|write|any)[a-z:, ]*\]/)) {
        class[g] = substr(text, RSTART + 2, RLENGTH - 3)
        text = substr(text, 1, RSTART - 1) substr(text, RSTART + RLENGTH)
    }
    before[g] = text
    if (!match(text, /(^|[ \n])Errors?:[ \n]/)) return
    before[g] = substr(text, 1, RSTART - 1)
    rest = substr(text, RSTART + RLENGTH)
    place = match(rest, /[^.]\.([ \n]|$)/)
    if (!place) fail("the errors of " first[g] " do not end with a full stop")
    errors[g] = substr(rest, 1, place)
    gsub(/[ \n]+/, " ", errors[g])
    after[g] = substr(rest, place + 2)
    sub(/^[ \n]+/, "", after[g])
}

function addReason(g, code, reason) {
    if (code ~ /^[0-9]/ && !(code in codeName)) fail(first[g] " has the unknown error " code)
    if (code ~ /^[0-9]/ && reason == "") reason = constantText[codeName[code]]
    if (reason == "") fail(first[g] " gives no reason for " code)
    if ((g, code) in reasons) {
        reasons[g, code] = reasons[g, code] "; " reason
        return
    }
    reasons[g, code] = reason
    codes[g] = codes[g] " " code
}

# The errors of another call; only that code's where one is given.
function borrow(g, name, code, note,   other, list, n, i) {
    if (!(name in groupOf)) fail(first[g] " has errors as for " name ", which is no call")
    other = groupOf[name]
    resolve(other)
    if (code != "") {
        if (!((other, code) in reasons)) fail(first[g] " has " code " as for " name ", which does not have it")
        addReason(g, code, reasons[other, code] note)
        return
    }
    if (note != "") fail(first[g] " says more about all errors of " name)
    n = split(codes[other], list, " ")
    for (i = 1; i <= n; i++) addReason(g, list[i], reasons[other, list[i]])
}

function addItem(g, item,   list, n, i, code, last, link, name) {
    n = 0
    link = ""
    while (match(item, /^([0-9][0-9][0-9]|E[A-Z][A-Z]+)/)) {
        code = substr(item, 1, RLENGTH)
        item = substr(item, RLENGTH + 1)
        if (link == " to ")
            for (last = list[n] + 1; last < code; last++) list[++n] = last
        list[++n] = code
        link = ""
        if (!match(item, /^(, | and | to )([0-9][0-9][0-9]|E[A-Z][A-Z])/)) break
        match(item, /^(, | and | to )/)
        link = substr(item, 1, RLENGTH)
        item = substr(item, RLENGTH + 1)
    }
    sub(/^ +/, "", item)
    name = ""
    if (item ~ /^as for /) {
        sub(/^as for /, "", item)
        match(item, /^[A-Za-z0-9_]+/)
        name = substr(item, 1, RLENGTH)
        item = substr(item, RLENGTH + 1)
        if (item != "" && item !~ /^, /) fail(first[g] " has something behind \"as for " name "\"")
    }
    if (n == 0 && name == "") fail(first[g] " has an error without code: " item)
    if (n == 0) borrow(g, name, "", item)
    for (i = 1; i <= n; i++) {
        if (name != "")
            borrow(g, name, list[i], item)
        else
            addReason(g, list[i], item)
    }
}

function resolve(g,   items, n, i) {
    if (state[g] == "done") return
    if (errors[g] !~ /^101/ && errors[g] != "" && class[g] == "" && declarationOf[first[g]] ~ /\(int fd/)
        fail(first[g] " has no class, such as [read]")
    if (state[g] == "begun") fail("the errors of " first[g] " lead back to themselves")
    state[g] = "begun"
    n = split(errors[g], items, /; */)
    for (i = 1; i <= n; i++) addItem(g, items[i])
    codes[g] = sorted(codes[g])
    state[g] = "done"
}

# Words in order; capitals count only where nothing else differs.
function sorted(words,   list, n, i, k, word) {
    n = split(words, list, " ")
    for (i = 2; i <= n; i++) {
        word = list[i]
        for (k = i - 1; k > 0 && isBefore(word, list[k]); k--) list[k + 1] = list[k]
        list[k + 1] = word
    }
    words = ""
    for (i = 1; i <= n; i++) words = words " " list[i]
    return words
}

function isBefore(a, b) {
    if (tolower(a) != tolower(b)) return tolower(a) "" < tolower(b) ""
    return a "" < b ""
}

function isMarked(g) { return class[g] != "" }

function isBare(g) { return class[g] == "" && codes[g] == "" }

function isNullTaken(g) { return (" " groupText[g] " ") ~ /[^A-Za-z]null[^A-Za-z]/ }

# Parameters of a call that must not be null, of the kind that gives this code.
function notNull(name, code,   list, n, i, parameters, found) {
    parameters = declarationOf[name]
    sub(/^[^(]*\(/, "", parameters)
    found = ""
    n = split(parameters, list, ",")
    for (i = 1; i <= n; i++) {
        if (list[i] !~ /\*/ || list[i] ~ /\(/) continue
        if (code != (list[i] ~ /KeyDesc/ ? "103" : list[i] ~ /IsamFile/ ? "101" : "102")) continue
        match(list[i], /[A-Za-z0-9_]+\)*;?$/)
        parameters = substr(list[i], RSTART)
        sub(/\).*/, "", parameters)
        found = found (found != "" ? ", " : "") "`" parameters "`"
    }
    return found
}

function nullReason(name, code,   found) {
    if (isNullTaken(groupOf[name]) || isBare(groupOf[name])) return ""
    found = notNull(name, code)
    return found != "" ? "null " found : ""
}

# Why the access mode refuses a call.
function accessReason(g,   list, n, i, of, reason) {
    n = split(class[g], list, ", ")
    reason = ""
    for (i = 1; i <= n; i++) {
        of = "file"
        if (list[i] ~ /:/) {
            of = list[i]
            sub(/:.*/, "", of)
            of = "`" of "`"
            sub(/.*: /, "", list[i])
        }
        if (list[i] == "any") continue
        reason = reason (reason != "" ? ", " : "") of " opened `" (list[i] == "read" ? "ISOUTPUT" : "ISINPUT") "`"
    }
    gsub(/`, file opened `/, "` or `", reason)
    return reason
}

# What the conventions add to a call's own errors: nothing to a list that has 101.
function byConvention(name,   g, text, reason, list, n, i) {
    g = groupOf[name]
    if ((g, "101") in reasons || isBare(g)) return ""
    text = ""
    if (isMarked(g)) {
        reason = notNull(name, "101")
        text = addConvention(name, text, "101", reason != "" ? "null " reason : "")
        reason = accessReason(g)
    }
    if (nullReason(name, "102") != "") reason = reason (reason != "" ? ", " : "") nullReason(name, "102")
    if (reason != "") text = addConvention(name, text, "102", reason)
    if (nullReason(name, "103") != "") text = addConvention(name, text, "103", nullReason(name, "103"))
    if (isMarked(g) && !((g, "105") in reasons)) text = addConvention(name, text, "105", "")
    return text (codes[g] ~ /E/ || isMarked(g) ? (text != "" ? "; " : "") "system errors" : "")
}

function addConvention(name, text, code, reason) {
    conventional[name, code] = 1
    return text (text != "" ? "; " : "") codeLink(code) (reason != "" ? " " reason : "")
}

# ------------------------------------------------------------------------------------------------- writing

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

function isParameter(name, word) { return declarationOf[name] ~ ("[ *]" word "[,)]") }

# Text with the names in it marked; no link leads from a call to itself.
function inline(text, self,   out, leading, word, star) {
    out = ""
    gsub(/\n/, " ", text)
    while (match(text, /[A-Za-z_][A-Za-z0-9_]*/)) {
        leading = substr(text, 1, RSTART - 1)
        word = substr(text, RSTART, RLENGTH)
        text = substr(text, RSTART + RLENGTH)
        star = sub(/\*$/, "", leading) ? "*" : ""
        if (leading ~ /[0-9]$/)
            out = out escaped(leading) word
        else if (word in isCall && word != self && star == "")
            out = out escaped(leading) linkTo(word)
        else if (word in isCall || word in constantValue || word in isWord || star != "" ||
                 word ~ /^E[A-Z][A-Z][A-Z]+$/ || word ~ /^ISAM_/ ||
                 (text ~ /^:/ && (out leading == "" || leading ~ /\. $/) && isParameter(self, word)))
            out = out escaped(leading) "`" star word "`"
        else
            out = out escaped(leading) escaped(word)
    }
    return out escaped(text)
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

function flush(self) {
    if (paragraph == "") return
    print wrapped(paragraphLead inline(paragraph, self), itemMark, itemMark != "" ? indentOf(itemMark) : "")
    if (itemMark == "") print ""
    paragraph = itemMark = paragraphLead = ""
}

function indentOf(mark) {
    if (mark ~ /^-/) return "  "
    gsub(/./, " ", mark)
    return mark
}

function endList() {
    if (inList) print ""
    inList = 0
}

# Prints text: paragraphs, "  1. " and "  WORD  " items, and code, which is indented further.
function prose(text, self, lead,   lines, n, i, inCode) {
    n = split(text, lines, "\n")
    paragraphLead = lead
    paragraph = itemMark = ""
    inList = inCode = 0
    for (i = 1; i <= n; i++) {
        if (lines[i] ~ /^    / && itemMark == "") {
            if (!inCode) {
                flush(self)
                endList()
                print "```c"
            }
            inCode = 1
            print substr(lines[i], 5)
            continue
        }
        if (inCode) print "```\n"
        inCode = 0
        if (lines[i] == "") {
            flush(self)
            endList()
        } else if (lines[i] ~ /^ *[0-9]+\. /) {
            flush(self)
            inList = 1
            match(lines[i], /^ *[0-9]+\. /)
            itemMark = substr(lines[i], 1, RLENGTH)
            sub(/^ +/, "", itemMark)
            paragraph = substr(lines[i], RLENGTH + 1)
        } else if (lines[i] ~ /^  +[A-Z0-9][A-Za-z0-9]*  +[^ ]/) {
            flush(self)
            inList = 1
            sub(/^ +/, "", lines[i])
            match(lines[i], /^[A-Z0-9][A-Za-z0-9]*/)
            itemMark = "- `" substr(lines[i], 1, RLENGTH) "`: "
            paragraph = substr(lines[i], RLENGTH + 1)
            sub(/^ +/, "", paragraph)
        } else {
            if (itemMark != "" && lines[i] !~ /^ /) {
                flush(self)
                endList()
            }
            sub(/^ +/, "", lines[i])
            paragraph = paragraph (paragraph != "" ? " " : "") lines[i]
        }
    }
    if (inCode) print "```\n"
    flush(self)
    endList()
}

function upper(text) { return toupper(substr(text, 1, 1)) substr(text, 2) }

function heading(title) {
    if (anchor(title) in anchors) fail("two headings have the anchor " anchor(title))
    anchors[anchor(title)] = 1
    return title
}

function printSection(title) { print "## " heading(title) "\n" }

function bitNumber(value,   digits, i, n) {
    n = 0
    for (i = 3; i <= length(value); i++) n = n * 16 + index("0123456789abcdef", tolower(substr(value, i, 1))) - 1
    for (digits = 0; n > 1; digits++) n /= 2
    return digits
}

function isCode(name) { return codeName[constantValue[name]] == name }

function messageOf(name) {
    if (isCode(name)) return message["error", constantValue[name] - 100]
    if (name ~ /^ISCHK_/) return message["check", bitNumber(constantValue[name])]
    return ""
}

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
        text = before[groupOf[name]]
        gsub(/\n/, " ", text)
        if (match(text, /[^.][.:;]( |$)/)) text = substr(text, 1, RSTART)
        text = tolower(substr(text, 1, 1)) substr(text, 2)
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

# The text of a header's beginning without its first line, up to a line that begins with words, or from there on.
function headText(name, words, rest,   text, place) {
    text = head[name]
    sub(/^\n+[^\n]*\n+/, "", text)
    place = words != "" ? index(text, "\n" words "\n") : 0
    if (!place) return rest ? "" : text
    return rest ? substr(text, place + length(words) + 2) : substr(text, 1, place - 1)
}

END {
    if (broken) exit 1
    if (inComment || inType) fail("a header ends in the middle of something")
    endGroup()
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "calls") splitComment(b)
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "calls") resolve(b)

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
