# Reads what the public headers say of the exported calls; calls_page.awk and calls_man.awk write it down, each in its
# form. Both begin with "finishReading" in their END.
#
# The variable "program" is the name that complaints begin with.
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
    print program ": " message | "cat 1>&2"
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

# What a group of calls does, in one sentence that begins small.
function firstSentence(g,   text) {
    text = before[g]
    gsub(/\n/, " ", text)
    if (match(text, /[^.][.:;]( |$)/)) text = substr(text, 1, RSTART)
    return tolower(substr(text, 1, 1)) substr(text, 2)
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

# --------------------------------------------------------------------------------------------------- forms
#
# What a page is made of, in the order of the text. The writer has the functions that are called here and not defined:
#   escaped(text)               text that shows as it is
#   linkTo(name)                a call's name
#   codeLink(code)              an error's number
#   marked(word, self)          another name, on the page of the call "self"
#   putParagraph(text, self)    prose, with paragraphLead before it
#   putItem(mark, text, self)   an item of a list: "1." or a word, and what stands behind it
#   endItems()                  the list's end
#   putCode(line)               a line of code, between beginCode() and endCode()

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
            out = out escaped(leading) marked(star word, self)
        else
            out = out escaped(leading) escaped(word)
    }
    return out escaped(text)
}

function flush(self) {
    if (paragraph == "") return
    if (itemMark != "")
        putItem(itemMark, paragraph, self)
    else
        putParagraph(paragraph, self)
    paragraph = itemMark = paragraphLead = ""
}

function endList() {
    if (inList) endItems()
    inList = 0
}

# Writes text: paragraphs, "  1. " and "  WORD  " items, and code, which is indented further.
function prose(text, self, lead,   lines, n, i, inCode, itemStart) {
    itemStart = "^ *[0-9]+[.] |^  +[A-Z0-9][A-Za-z0-9]*  +"
    n = split(text, lines, "\n")
    paragraphLead = lead
    paragraph = itemMark = ""
    inList = inCode = 0
    for (i = 1; i <= n; i++) {
        if (lines[i] ~ /^    / && itemMark == "") {
            if (!inCode) {
                flush(self)
                endList()
                beginCode()
            }
            inCode = 1
            putCode(substr(lines[i], 5))
            continue
        }
        if (inCode) endCode()
        inCode = 0
        if (lines[i] == "") {
            flush(self)
            endList()
        } else if (lines[i] ~ itemStart) {
            flush(self)
            inList = 1
            match(lines[i], itemStart)
            itemMark = substr(lines[i], 1, RLENGTH)
            paragraph = substr(lines[i], RLENGTH + 1)
            gsub(/ /, "", itemMark)
        } else {
            if (itemMark != "" && lines[i] !~ /^ /) {
                flush(self)
                endList()
            }
            sub(/^ +/, "", lines[i])
            paragraph = paragraph (paragraph != "" ? " " : "") lines[i]
        }
    }
    if (inCode) endCode()
    flush(self)
    endList()
}

function upper(text) { return toupper(substr(text, 1, 1)) substr(text, 2) }

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

# The text of a header's beginning without its first line, up to a line that begins with words, or from there on.
function headText(name, words, rest,   text, place) {
    text = head[name]
    sub(/^\n+[^\n]*\n+/, "", text)
    place = words != "" ? index(text, "\n" words "\n") : 0
    if (!place) return rest ? "" : text
    return rest ? substr(text, place + length(words) + 2) : substr(text, 1, place - 1)
}

# Called at the end of the input, before anything is written.
function finishReading(   b) {
    if (broken) exit 1
    if (inComment || inType) fail("a header ends in the middle of something")
    endGroup()
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "calls") splitComment(b)
    for (b = 1; b <= blocks; b++)
        if (blockType[b] == "calls") resolve(b)
}
