#include "tools/zxv/cli.h"

namespace zxv {

ParsedArgs ParseArgs(const std::string& command, const std::vector<std::string>& args,
                     const std::vector<OptionDef>& known) {
  ParsedArgs parsed;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (optionsEnded || word == "-" || word.empty() || word[0] != '-') {
      parsed.positionals.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    if (word == "-h") {
      parsed.options["help"] = "";
      continue;
    }
    if (word.rfind("--", 0) != 0) {
      throw UsageError("zxv " + command + ": unknown option '" + word + "' (see 'zxv " + command +
                       " --help')");
    }
    std::string name = word.substr(2);
    std::string value;
    bool hasInlineValue = false;
    if (auto eq = name.find('='); eq != std::string::npos) {
      value = name.substr(eq + 1);
      name.resize(eq);
      hasInlineValue = true;
    }
    const OptionDef* option = nullptr;
    for (const OptionDef& candidate : known) {
      if (name == candidate.name) option = &candidate;
    }
    if (option == nullptr) {
      throw UsageError("zxv " + command + ": unknown option '--" + name + "' (see 'zxv " + command +
                       " --help')");
    }
    if (!option->takesValue) {
      if (hasInlineValue) {
        throw UsageError("zxv " + command + ": option '--" + name + "' takes no value");
      }
      parsed.options[name] = "";
      continue;
    }
    if (!hasInlineValue) {
      if (i + 1 >= args.size()) {
        throw UsageError("zxv " + command + ": option '--" + name + "' needs a value");
      }
      value = args[++i];
    }
    parsed.options[name] = value;
  }
  return parsed;
}

}  // namespace zxv
