#include "cli/manual.h"

#include <algorithm>
#include <cctype>

namespace tool {

namespace {

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// Text as troff takes it literally.
std::string roff(const std::string &text) {
    std::string out;
    bool at_start = true;
    for (const char c : text) {
        if (at_start && (c == '.' || c == '\'')) out += "\\&";
        at_start = c == '\n';
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
    }
    return out;
}

// Text as the argument of a macro.
std::string macroArgument(const std::string &text) {
    std::string out = "\"";
    for (const char c : roff(text)) {
        if (c == '"') {
            out += "\\(dq";
        } else {
            out += c;
        }
    }
    return out + "\"";
}

// Paragraphs are parted by empty lines; one whose lines are indented keeps its lines.
std::string paragraphs(const std::string &text) {
    std::string out;
    std::size_t from = 0;
    while (from < text.size()) {
        std::size_t to = text.find("\n\n", from);
        if (to == std::string::npos) to = text.size();
        const std::string paragraph = text.substr(from, to - from);
        if (paragraph.starts_with(' ')) {
            out += ".PP\n.nf\n" + roff(paragraph) + "\n.fi\n";
        } else {
            out += (out.empty() ? "" : ".PP\n") + roff(paragraph) + "\n";
        }
        from = std::min(to + 2, text.size());
    }
    return out;
}

std::string pageName(const CLI::App *command) {
    const CLI::App *parent = command->get_parent();
    return parent == nullptr ? command->get_name() : pageName(parent) + "-" + command->get_name();
}

std::string spoken(const CLI::App *command) {
    const CLI::App *parent = command->get_parent();
    return parent == nullptr ? command->get_name() : spoken(parent) + " " + command->get_name();
}

std::vector<CLI::App *> subcommands(CLI::App *command) {
    return command->get_subcommands([](const CLI::App *) { return true; });
}

std::string placeholder(const CLI::Option *option) {
    return option->get_type_name().empty() ? upperCase(option->get_single_name()) : option->get_type_name();
}

std::string synopsis(CLI::App *command) {
    std::string out = ".B " + roff(spoken(command)) + "\n";
    if (!subcommands(command).empty()) return out + ".I COMMAND\n.RI [ ARGUMENTS ]\n";
    out += ".RI [ OPTIONS ]\n";
    for (const CLI::Option *option : command->get_options()) {
        if (!option->get_positional()) continue;
        const std::string name = roff(option->get_name(true));
        const std::string more = option->get_items_expected_max() > 1 ? "..." : "";
        out += option->get_required() ? ".IR " + name + " " + more + "\n" : ".RI [ " + name + " ]" + more + "\n";
    }
    return out;
}

std::string optionEntry(const CLI::Option *option) {
    std::string heading;
    if (option->get_positional()) {
        heading = "\\fI" + roff(option->get_name(true)) + "\\fR";
    } else {
        const auto add = [&heading](const std::string &name) {
            heading += (heading.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
        };
        for (const std::string &name : option->get_snames())
            add("-" + name);
        for (const std::string &name : option->get_lnames())
            add("--" + name);
        if (option->get_items_expected_max() > 0) heading += " \\fI" + roff(placeholder(option)) + "\\fR";
    }
    return ".TP\n" + heading + "\n" + roff(option->get_description()) + "\n";
}

std::string optionsSection(const CLI::App *command) {
    std::string out;
    for (const bool positional : {true, false}) {
        for (const CLI::Option *option : command->get_options()) {
            if (option->get_positional() == positional) out += optionEntry(option);
        }
    }
    return out.empty() ? out : ".SH OPTIONS\n" + out;
}

std::string commandsSection(CLI::App *command) {
    std::string out;
    std::string heading;
    for (const CLI::App *sub : subcommands(command)) {
        if (sub->get_group() != heading && command->get_parent() == nullptr) {
            heading = sub->get_group();
            out += ".SS " + macroArgument(heading) + "\n";
        }
        out += ".TP\n.BR " + macroArgument(pageName(sub)) + " (1)\n" + roff(sub->get_description()) + "\n";
    }
    return out.empty() ? out : ".SH COMMANDS\n" + out;
}

std::string examplesSection(const std::vector<Example> &examples) {
    std::string out;
    for (const Example &example : examples) {
        out += ".TP\n.B " + roff(example.command) + "\n" + roff(example.effect) + "\n";
    }
    return out.empty() ? out : ".SH EXAMPLES\n" + out;
}

std::string pageHead(const std::string &name, const std::string &summary) {
    return ".TH " + macroArgument(upperCase(name)) + " 1 \"\" \"isam " ISAM_TOOL_VERSION "\" \"isam\"\n.SH NAME\n" +
           roff(name) + " \\- " + roff(summary) + "\n.SH SYNOPSIS\n";
}

const char *const kExitSection = ".SH EXIT STATUS\n"
                                 ".TP\n.B 0\nDone, and nothing found that is wrong.\n"
                                 ".TP\n.B 1\nA check has found damage, or what was looked for is not there.\n"
                                 ".TP\n.B 2\nNot done; the reason stands on standard error.\n";

void addPages(Program &program, CLI::App *command, std::vector<Page> &pages) {
    std::string text = pageHead(pageName(command), command->get_description());
    text += synopsis(command) + ".SH DESCRIPTION\n" + paragraphs(program.description(command));
    text += commandsSection(command) + optionsSection(command) + examplesSection(program.examples(command));
    text += std::string(kExitSection) + ".SH SEE ALSO\n.BR isam (1),\n.BR isam (3)\n";
    pages.push_back({pageName(command) + ".1", text});
    for (CLI::App *sub : subcommands(command))
        addPages(program, sub, pages);
}

std::string wordsOf(CLI::App *command) {
    std::string words;
    for (const CLI::App *sub : subcommands(command))
        words += sub->get_name() + " ";
    for (const CLI::Option *option : command->get_options()) {
        for (const std::string &name : option->get_lnames())
            words += "--" + name + " ";
    }
    if (!words.empty()) words.pop_back();
    return words;
}

void addCases(CLI::App *command, std::string &cases) {
    cases += "    '" + spoken(command) + "') words='" + wordsOf(command) + "' ;;\n";
    for (CLI::App *sub : subcommands(command))
        addCases(sub, cases);
}

}  // namespace

std::vector<Page> manualPages(Program &program) {
    std::vector<Page> pages;
    CLI::App &root = program.root();
    std::string text = pageHead("isam", "looks into indexed-sequential files, checks and mends them, moves records");
    text += ".B isam\n.I COMMAND\n.RI [ ARGUMENTS ]\n.SH DESCRIPTION\n" + roff(root.get_description()) +
            "\nA file is named by its base path: FILE stands for FILE.idx and FILE.dat.\n";
    text += commandsSection(&root) + optionsSection(&root) + kExitSection + ".SH SEE ALSO\n.BR isam (3)\n";
    pages.push_back({"isam.1", text});
    for (CLI::App *command : subcommands(&root))
        addPages(program, command, pages);
    return pages;
}

std::string bashCompletion(Program &program) {
    std::string cases;
    addCases(&program.root(), cases);
    // A file set is completed to its base path, whichever of its two files is met; any other file to its name.
    return "# Completion of the command isam for bash.\n"
           "_isam_words() {\n"
           "    case $1 in\n" +
           cases +
           R"(    *) return 1 ;;
    esac
}

_isam() {
    local word=${COMP_WORDS[COMP_CWORD]} path=isam words= i name
    for ((i = 1; i < COMP_CWORD; i++)); do
        _isam_words "$path ${COMP_WORDS[i]}" || break
        path="$path ${COMP_WORDS[i]}"
    done
    _isam_words "$path"
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    [[ $path == isam || $word == -* ]] && return
    while IFS= read -r name; do
        case $name in
        *.idx | *.dat) name=${name%.*} ;;
        esac
        COMPREPLY+=("$name")
    done < <(compgen -f -- "$word")
    mapfile -t COMPREPLY < <(printf '%s\n' "${COMPREPLY[@]}" | sort -u)
    compopt -o filenames 2>/dev/null
}
complete -F _isam isam
)";
}

}  // namespace tool
