// The command line: one program with subcommands, each declared where it is written. The same declarations give the
// help, the manual pages and the completion of the shell.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tool {

// A program's exit status.
enum Exit : int {
    kClean = 0,   // done, nothing found
    kDamage = 1,  // a check has found something; a key that was asked for is not there
    kCannot = 2,  // not done; the reason stands on standard error
};

struct Example {
    const char *command;
    const char *effect;
};

class Program {
  public:
    Program();

    // The parts that follow belong under this heading of the help.
    void group(const char *heading);

    // A subcommand. summary: a line without a full stop; description: paragraphs for its help and manual page.
    CLI::App *add(const char *name, const char *summary, const char *description, std::vector<Example> examples);
    // A subcommand of a subcommand: "index add".
    CLI::App *addUnder(CLI::App *parent, const char *name, const char *summary, const char *description,
                       std::vector<Example> examples);
    // What a subcommand does; the result is the exit status.
    void onRun(CLI::App *command, std::function<int()> run);

    // "FILE", the base path of a file set, with whatever basePath makes of it.
    static CLI::Option *addFile(CLI::App *command, std::string &file);
    // What an option takes that counts something: a number from 0 on.
    static CLI::Validator wholeNumber();
    // "--json".
    static CLI::Option *addJson(CLI::App *command, bool &json);

    // Runs what the arguments ask for.
    int main(int argc, char **argv);

    CLI::App &root() { return root_; }
    const std::vector<Example> &examples(const CLI::App *command) const { return examples_.at(command); }
    const std::string &description(const CLI::App *command) const { return descriptions_.at(command); }

  private:
    CLI::App root_;
    std::string heading_;
    std::map<const CLI::App *, std::function<int()>> runs_;
    std::map<const CLI::App *, std::vector<Example>> examples_;
    std::map<const CLI::App *, std::string> descriptions_;
};

}  // namespace tool
