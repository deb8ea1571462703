# Makes a script of bash of a Markdown page: the page's files are written and its commands run, in order, up to the first
# one that does not end with status 0. What the commands print is compared elsewhere, where every page is run.

BEGIN { quote = "'" }

/^```/ && kind != "" {
    if (kind == "file") print "END OF FILE"
    endCommand()
    kind = ""
    next
}
/^```/ {
    kind = before ~ /^<!-- runs:/ ? "left out" : $0 == "```console" ? "console" : NF > 1 ? "file" : "other"
    if (kind == "file") print "cat >" quote $2 quote " <<" quote "END OF FILE" quote
    next
}
kind == "file" { print }
kind == "console" && /^\$ / {
    endCommand()
    inCommand = 1
}
kind == "console" && inCommand && /^[$>] / {
    print substr($0, 3)
    next
}
kind == "console" { endCommand() }
{ before = $0 }

function endCommand() {
    if (inCommand) print "[ $? -eq 0 ] || exit 1"
    inCommand = 0
}
