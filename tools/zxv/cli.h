// Command-line plumbing shared by the zxv subcommands: the error type that
// carries a user-facing message, exit statuses and a small option parser.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace zxv {

// Exit statuses of the tool.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // bad input, unreadable file, failed conversion
inline constexpr int kExitUsage = 2;    // wrong arguments

// A failure to report on stderr.  The message names the file it concerns and
// what is wrong with it; main() prefixes "zxv: " and exits with kExitFailure.
class CliError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A wrong command line; reported like CliError but exits with kExitUsage.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One option a subcommand accepts: "--name" alone, or "--name VALUE" /
// "--name=VALUE" when takesValue is set.
struct OptionDef {
  const char* name;  // without the leading dashes
  bool takesValue;
};

// The parsed command line of one subcommand.
struct ParsedArgs {
  std::map<std::string, std::string> options;  // flags map to ""
  std::vector<std::string> positionals;        // "-" stays a positional

  bool Has(const std::string& name) const { return options.count(name) != 0; }
  std::string Get(const std::string& name) const {
    auto it = options.find(name);
    return it == options.end() ? std::string() : it->second;
  }
};

// Parses args (the words after the subcommand name).  "--" ends the options;
// "-h" is taken as "--help".  Throws UsageError for an unknown option or a
// missing value, naming `command` so the message points to its --help.
ParsedArgs ParseArgs(const std::string& command, const std::vector<std::string>& args,
                     const std::vector<OptionDef>& known);

}  // namespace zxv
