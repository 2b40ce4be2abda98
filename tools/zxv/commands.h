// The zxv subcommands.  Each takes the words after its name, writes its
// results to stdout and its complaints to stderr, and returns the exit status
// (see cli.h).  Failures are thrown as CliError / UsageError and reported by
// main().
#pragma once

#include <string>
#include <vector>

namespace zxv {

struct Command {
  const char* name;
  const char* summary;  // one line for `zxv --help`
  int (*run)(const std::vector<std::string>& args);
  void (*help)();  // prints the subcommand's --help to stdout
};

const std::vector<Command>& AllCommands();
const Command* FindCommand(const std::string& name);

int RunConvert(const std::vector<std::string>& args);
int RunPrint(const std::vector<std::string>& args);
int RunValidate(const std::vector<std::string>& args);
int RunStat(const std::vector<std::string>& args);

}  // namespace zxv
