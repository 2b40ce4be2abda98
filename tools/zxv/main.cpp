// zxv: command-line access to ZxVariant records.
//
//   zxv convert IN OUT      JSON <-> .zxv, and any record to a text dialect
//   zxv print FILE          the debugging tree of a record
//   zxv validate FILE...    length and structure checks of .zxv files
//   zxv stat FILE           size, nodes, depth, types and attributes
//
// Exit status: 0 success, 1 bad input or a failed operation, 2 wrong usage.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "tools/zxv/cli.h"
#include "tools/zxv/commands.h"

#ifndef ZXV_TOOL_VERSION
#define ZXV_TOOL_VERSION "unknown"
#endif

namespace {

void PrintUsage(std::FILE* out) {
  std::fprintf(out,
               "Usage: zxv COMMAND [OPTIONS] ARGS...\n"
               "\n"
               "Reads, checks, describes and converts ZxVariant records.  A .zxv file\n"
               "holds one record in zero-based form, exactly its size bytes.\n"
               "\n"
               "Commands:\n");
  for (const zxv::Command& command : zxv::AllCommands()) {
    std::fprintf(out, "  %-10s%s\n", command.name, command.summary);
  }
  std::fprintf(out,
               "\n"
               "Options:\n"
               "  -h, --help     show this help\n"
               "  --version      show the version\n"
               "\n"
               "Run 'zxv COMMAND --help' for a command's options.\n");
}

int Run(const std::vector<std::string>& words) {
  if (words.empty()) {
    PrintUsage(stderr);
    return zxv::kExitUsage;
  }
  const std::string& first = words[0];
  if (first == "--help" || first == "-h" || first == "help") {
    if (first == "help" && words.size() > 1) {
      if (const zxv::Command* command = zxv::FindCommand(words[1])) {
        command->help();
        return zxv::kExitOk;
      }
      throw zxv::UsageError("zxv: unknown command '" + words[1] + "' (see 'zxv --help')");
    }
    PrintUsage(stdout);
    return zxv::kExitOk;
  }
  if (first == "--version") {
    std::printf("zxv %s\n", ZXV_TOOL_VERSION);
    return zxv::kExitOk;
  }
  const zxv::Command* command = zxv::FindCommand(first);
  if (command == nullptr) {
    throw zxv::UsageError("zxv: unknown command '" + first + "' (see 'zxv --help')");
  }
  return command->run(std::vector<std::string>(words.begin() + 1, words.end()));
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const zxv::UsageError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return zxv::kExitUsage;
  } catch (const zxv::CliError& error) {
    std::fprintf(stderr, "zxv: %s\n", error.what());
    return zxv::kExitFailure;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "zxv: out of memory\n");
    return zxv::kExitFailure;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zxv: %s\n", error.what());
    return zxv::kExitFailure;
  }
}
