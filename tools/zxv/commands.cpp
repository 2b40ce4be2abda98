#include "tools/zxv/commands.h"

#include <zxvariant/record.h>

#include <cstdio>
#include <optional>
#include <utility>

#include "tools/zxv/cli.h"
#include "tools/zxv/dialects.h"
#include "tools/zxv/record_stats.h"
#include "tools/zxv/zxv_file.h"

namespace zxv {
namespace {

// ---- shared helpers ----------------------------------------------------------

void Out(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

// The formats for --from / --to in help texts.
std::string FormatList(bool forInput) {
  std::string text;
  for (const FormatInfo& info : AllFormats()) {
    if (forInput && !info.readable) continue;
    std::string line = std::string("  ") + info.name;
    line.resize(12, ' ');
    line += info.summary;
    line += std::string(" [") + info.extensions + "]";
    text += line + "\n";
  }
  return text;
}

Format RequireFormatName(const std::string& command, const std::string& option,
                         const std::string& value) {
  std::optional<Format> format = FormatFromName(value);
  if (!format) {
    throw UsageError("zxv " + command + ": unknown format '" + value + "' for --" + option +
                     " (see 'zxv " + command + " --help')");
  }
  return *format;
}

// The input format: --from when given, else guessed from the file name.
Format InputFormat(const std::string& command, const ParsedArgs& parsed, const std::string& path,
                   std::optional<Format> fallback) {
  if (parsed.Has("from")) {
    Format format = RequireFormatName(command, "from", parsed.Get("from"));
    if (!Info(format).readable) {
      throw UsageError("zxv " + command + ": cannot read the " + Info(format).name +
                       " format; inputs are json or zxv");
    }
    return format;
  }
  if (IsStdStream(path)) {
    if (fallback) return *fallback;
    throw UsageError("zxv " + command + ": reading standard input needs --from (json or zxv)");
  }
  if (std::optional<Format> guessed = FormatFromExtension(path, true)) return *guessed;
  if (fallback) return *fallback;
  throw UsageError("zxv " + command + ": cannot tell the format of '" + path +
                   "' from its extension; use --from json or --from zxv");
}

// Reads a record from a .zxv file or a JSON text; pointer form.
RecordPtr LoadInput(const std::string& path, Format format) {
  if (format == Format::Zxv) return LoadRecordFile(path);
  const std::string name = InputName(path);
  Bytes bytes = ReadAll(path);
  if (bytes.empty()) throw CliError(name + ": empty file, no JSON text");
  return ParseJson(DecodeUtf8Text(bytes, name), name);
}

// Text output ends with a line end, so that files and terminals get whole lines.
std::string WithFinalNewline(std::string text) {
  if (text.empty() || text.back() != '\n') text += '\n';
  return text;
}

bool WantsHelp(const ParsedArgs& parsed, void (*help)()) {
  if (!parsed.Has("help")) return false;
  help();
  return true;
}

void RequirePositionals(const std::string& command, const ParsedArgs& parsed, std::size_t least,
                        std::size_t most, const char* what) {
  std::size_t n = parsed.positionals.size();
  if (n < least || n > most) {
    throw UsageError("zxv " + command + ": expected " + what + " (see 'zxv " + command + " --help')");
  }
}

// ---- help texts --------------------------------------------------------------

void HelpConvert() {
  Out("Usage: zxv convert [--from FORMAT] [--to FORMAT] IN OUT\n"
      "\n"
      "Converts a record between JSON and the .zxv record file, and writes it in\n"
      "any of the printed text dialects.  IN or OUT may be '-' for standard input\n"
      "or output; then the matching --from or --to is required.  Text is UTF-8.\n"
      "\n"
      "Options:\n"
      "  --from FORMAT  input format (default: from IN's extension)\n"
      "  --to FORMAT    output format (default: from OUT's extension)\n"
      "  --types        with --to tree or simple: show each node's type\n"
      "  -h, --help     show this help\n"
      "\n"
      "Input formats:\n" +
      FormatList(true) +
      "Output formats:\n" + FormatList(false) +
      "\n"
      "Examples:\n"
      "  zxv convert config.json config.zxv\n"
      "  zxv convert config.zxv config.xml\n"
      "  zxv convert --to yam config.zxv -\n");
}

void HelpPrint() {
  Out("Usage: zxv print [--types] [--from FORMAT] FILE\n"
      "\n"
      "Prints a record as the debugging tree on standard output.  FILE is a .zxv\n"
      "record file, or JSON when its name ends in .json or --from json is given;\n"
      "'-' reads standard input (a .zxv record unless --from json).\n"
      "\n"
      "Options:\n"
      "  --types        show each node's type\n"
      "  --from FORMAT  zxv or json (default: from FILE's extension, else zxv)\n"
      "  -h, --help     show this help\n");
}

void HelpValidate() {
  Out("Usage: zxv validate FILE...\n"
      "\n"
      "Checks .zxv record files: the file's length must equal the record's size\n"
      "word and the record must pass the zero-based structure check.  Prints\n"
      "'FILE: ok' on standard output for a good file and 'FILE: invalid: REASON'\n"
      "on standard error for a bad one.  '-' reads standard input.\n"
      "\n"
      "Exit status: 0 when every file is valid, 1 when any is not.\n"
      "\n"
      "Options:\n"
      "  -h, --help     show this help\n");
}

void HelpStat() {
  Out("Usage: zxv stat [--from FORMAT] FILE\n"
      "\n"
      "Describes a record: its size in bytes, the number of nodes, the nesting\n"
      "depth (the root alone is 1), the number of nodes of each type, and the\n"
      "attributes, counted apart from the nodes.  FILE is read as for 'zxv print'.\n"
      "\n"
      "Options:\n"
      "  --from FORMAT  zxv or json (default: from FILE's extension, else zxv)\n"
      "  -h, --help     show this help\n");
}

}  // namespace

// ---- subcommands -------------------------------------------------------------

int RunConvert(const std::vector<std::string>& args) {
  const std::string cmd = "convert";
  ParsedArgs parsed = ParseArgs(cmd, args, {{"from", true}, {"to", true}, {"types", false}, {"help", false}});
  if (WantsHelp(parsed, HelpConvert)) return kExitOk;
  RequirePositionals(cmd, parsed, 2, 2, "an input and an output file");
  const std::string& in = parsed.positionals[0];
  const std::string& out = parsed.positionals[1];

  Format from = InputFormat(cmd, parsed, in, std::nullopt);
  Format to;
  if (parsed.Has("to")) {
    to = RequireFormatName(cmd, "to", parsed.Get("to"));
  } else if (IsStdStream(out)) {
    throw UsageError("zxv convert: writing standard output needs --to");
  } else if (std::optional<Format> guessed = FormatFromExtension(out, false)) {
    to = *guessed;
  } else {
    throw UsageError("zxv convert: cannot tell the output format of '" + out +
                     "' from its extension; use --to (see 'zxv convert --help')");
  }
  if (parsed.Has("types") && !CanShowTypes(to)) {
    throw UsageError("zxv convert: --types applies only to --to tree and --to simple");
  }

  RecordPtr record = LoadInput(in, from);
  if (to == Format::Zxv) {
    Bytes bytes = ZeroBasedBytes(record.get());
    // What is written must load again; a record that does not is not written.
    std::string problem = ZeroBasedProblem(bytes);
    if (!problem.empty()) throw CliError(InputName(in) + ": the converted record " + problem);
    WriteAll(out, bytes.data(), bytes.size());
  } else {
    std::string text = RenderText(to, record.get(), parsed.Has("types"));
    if (text.empty()) {
      throw CliError(InputName(in) + ": the " + Info(to).name + " format has nothing to print for " +
                     "this record, so " + OutputName(out) + " was not written (" +
                     WhyNothingPrinted(to) + ")");
    }
    text = WithFinalNewline(std::move(text));
    WriteAll(out, text.data(), text.size());
  }
  return kExitOk;
}

int RunPrint(const std::vector<std::string>& args) {
  const std::string cmd = "print";
  ParsedArgs parsed = ParseArgs(cmd, args, {{"types", false}, {"from", true}, {"help", false}});
  if (WantsHelp(parsed, HelpPrint)) return kExitOk;
  RequirePositionals(cmd, parsed, 1, 1, "one file");
  const std::string& path = parsed.positionals[0];
  Format from = InputFormat(cmd, parsed, path, Format::Zxv);
  RecordPtr record = LoadInput(path, from);
  std::string text = WithFinalNewline(RenderText(Format::Tree, record.get(), parsed.Has("types")));
  WriteAll("-", text.data(), text.size());
  return kExitOk;
}

int RunValidate(const std::vector<std::string>& args) {
  const std::string cmd = "validate";
  ParsedArgs parsed = ParseArgs(cmd, args, {{"help", false}});
  if (WantsHelp(parsed, HelpValidate)) return kExitOk;
  RequirePositionals(cmd, parsed, 1, static_cast<std::size_t>(-1), "at least one file");
  int status = kExitOk;
  for (const std::string& path : parsed.positionals) {
    Bytes bytes;
    std::string problem;
    if (TryReadAll(path, &bytes, &problem)) problem = ZeroBasedProblem(bytes);
    if (problem.empty()) {
      std::printf("%s: ok\n", InputName(path).c_str());
      std::fflush(stdout);
    } else {
      std::fprintf(stderr, "%s: invalid: %s\n", InputName(path).c_str(), problem.c_str());
      status = kExitFailure;
    }
  }
  return status;
}

int RunStat(const std::vector<std::string>& args) {
  const std::string cmd = "stat";
  ParsedArgs parsed = ParseArgs(cmd, args, {{"from", true}, {"help", false}});
  if (WantsHelp(parsed, HelpStat)) return kExitOk;
  RequirePositionals(cmd, parsed, 1, 1, "one file");
  const std::string& path = parsed.positionals[0];
  RecordPtr record = LoadInput(path, InputFormat(cmd, parsed, path, Format::Zxv));
  RecordStats stats = CollectStats(record.get());

  std::string text;
  text += "file: " + InputName(path) + "\n";
  text += "size: " + std::to_string(stats.size) + " bytes\n";
  text += "nodes: " + std::to_string(stats.nodes) + " (" + std::to_string(stats.namedNodes) +
          " named)\n";
  text += "depth: " + std::to_string(stats.depth) + "\n";
  text += "attributes: " + std::to_string(stats.attributes) + "\n";
  text += "node types:\n";
  for (const auto& [type, count] : stats.nodeTypes) {
    text += "  " + type + ": " + std::to_string(count) + "\n";
  }
  if (!stats.attributeTypes.empty()) {
    text += "attribute types:\n";
    for (const auto& [type, count] : stats.attributeTypes) {
      text += "  " + type + ": " + std::to_string(count) + "\n";
    }
  }
  WriteAll("-", text.data(), text.size());
  return kExitOk;
}

const std::vector<Command>& AllCommands() {
  static const std::vector<Command> commands = {
      {"convert", "convert between JSON, .zxv and the printed text dialects", RunConvert, HelpConvert},
      {"print", "print a record as the debugging tree", RunPrint, HelpPrint},
      {"validate", "check .zxv record files", RunValidate, HelpValidate},
      {"stat", "count a record's nodes, types, attributes and depth", RunStat, HelpStat},
  };
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const Command& command : AllCommands()) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

}  // namespace zxv
