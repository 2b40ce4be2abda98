#!/usr/bin/env bash
# End-to-end tests of the zxv command-line tool through its real binary.
#
# Usage: zxv_cli_test.sh PATH-TO-ZXV EXAMPLES-DIR
#
# Every check runs the binary, looks at its exit status, its output files and
# its messages, and counts a pass or a failure.  The last line is
# "N passed, M failed"; the exit status is non-zero when anything failed.
set -euo pipefail

if [[ $# -ne 2 ]]; then
  echo "usage: $0 PATH-TO-ZXV EXAMPLES-DIR" >&2
  exit 2
fi
ZXV="$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
EXAMPLES="$(cd "$2" && pwd)"
CONFIG_JSON="$EXAMPLES/config.json"

scratch="$(mktemp -d "${TMPDIR:-/tmp}/zxv-cli-test.XXXXXX")"
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

passed=0
failed=0

pass() { passed=$((passed + 1)); }
fail() {
  failed=$((failed + 1))
  echo "FAIL: $*" >&2
  if [[ -s out.txt ]]; then sed 's/^/  stdout: /' out.txt | head -20 >&2; fi
  if [[ -s err.txt ]]; then sed 's/^/  stderr: /' err.txt | head -20 >&2; fi
}

# run CMD...: runs zxv with stdout in out.txt and stderr in err.txt; the exit
# status is left in $status.
run() {
  status=0
  "$ZXV" "$@" >out.txt 2>err.txt || status=$?
}

# expect_status N DESCRIPTION: the last run exited with N.
expect_status() {
  if [[ $status -eq $1 ]]; then pass; else fail "$2: exit status $status, expected $1"; fi
}

# expect_grep FILE PATTERN DESCRIPTION: FILE contains the fixed text PATTERN.
expect_grep() {
  if grep -qF -- "$2" "$1"; then pass; else fail "$3: '$2' not found in $1"; fi
}

# expect_nonempty FILE DESCRIPTION
expect_nonempty() {
  if [[ -s $1 ]]; then pass; else fail "$2: $1 is missing or empty"; fi
}

# expect_absent FILE DESCRIPTION: a failed conversion leaves no output behind.
expect_absent() {
  if [[ ! -e $1 ]]; then pass; else fail "$2: $1 was created"; fi
}

# expect_same A B DESCRIPTION: byte-identical files.
expect_same() {
  if cmp -s "$1" "$2"; then pass; else fail "$3: $1 and $2 differ"; fi
}

# Prints the summary line and ends the run, failing when anything failed.
finish() {
  echo "$passed passed, $failed failed"
  if [[ $failed -eq 0 ]]; then exit 0; fi
  exit 1
}

# The little-endian size word at the start of a .zxv file.
size_word() { od -An -t u4 -N 4 "$1" | tr -d ' '; }
file_size() { wc -c <"$1" | tr -d ' '; }

# ---- help and version ---------------------------------------------------------

run --help
expect_status 0 "zxv --help"
expect_grep out.txt "Usage: zxv" "zxv --help"
for command in convert print validate stat; do
  expect_grep out.txt "$command" "zxv --help lists $command"
done

run --version
expect_status 0 "zxv --version"
expect_grep out.txt "zxv " "zxv --version"

for command in convert print validate stat; do
  run "$command" --help
  expect_status 0 "zxv $command --help"
  expect_grep out.txt "Usage: zxv $command" "zxv $command --help"
done

run
expect_status 2 "zxv without arguments"
expect_grep err.txt "Usage: zxv" "zxv without arguments prints usage"

run frobnicate
expect_status 2 "unknown command"
expect_grep err.txt "frobnicate" "unknown command is named"

run convert --bogus a.json b.zxv
expect_status 2 "unknown option"
expect_grep err.txt "--bogus" "unknown option is named"

run convert only-one.json
expect_status 2 "convert with one file"

# ---- JSON -> .zxv, validate, stat, print --------------------------------------

run convert "$CONFIG_JSON" config.zxv
expect_status 0 "convert config.json to config.zxv"
expect_nonempty config.zxv "convert config.json to config.zxv"
# Everything below works on this record.
if [[ ! -s config.zxv ]]; then
  fail "no config.zxv: the remaining checks cannot run"
  finish
fi
if [[ -s config.zxv && "$(size_word config.zxv)" == "$(file_size config.zxv)" ]]; then
  pass
else
  fail "config.zxv: the size word does not equal the file length"
fi

run validate config.zxv
expect_status 0 "validate config.zxv"
if [[ "$(cat out.txt)" == "config.zxv: ok" ]]; then pass; else fail "validate prints 'config.zxv: ok'"; fi

run stat config.zxv
expect_status 0 "stat config.zxv"
expect_grep out.txt "size: $(file_size config.zxv) bytes" "stat reports the file's size"
expect_grep out.txt "attributes: 0" "stat counts no attributes in JSON-made records"
expect_grep out.txt "String:" "stat counts Strings"
expect_grep out.txt "List:" "stat counts Lists"

run print config.zxv
expect_status 0 "print config.zxv"
expect_nonempty out.txt "print config.zxv"
expect_grep out.txt "sync.internal.example" "print shows string values"
expect_grep out.txt "Köln" "print writes non-ASCII text as UTF-8"

run print --types config.zxv
expect_status 0 "print --types config.zxv"
expect_nonempty out.txt "print --types config.zxv"
expect_grep out.txt "String" "print --types names the node types"

# stat counts on a record whose shape is known exactly: the outermost object
# holds one member, so the record is List a with b (List of Int, Int,
# String) and c (Bool): 6 nodes, 3 levels.
printf '{"a": {"b": [1, 2, "x"], "c": true}}' >small.json
run convert small.json small.zxv
expect_status 0 "convert small.json"
run stat small.zxv
expect_status 0 "stat small.zxv"
expect_grep out.txt "nodes: 6 " "stat counts every node"
expect_grep out.txt "depth: 3" "stat measures the depth"
expect_grep out.txt "  List: 2" "stat counts Lists per type"
expect_grep out.txt "  Int: 2" "stat counts Ints per type"
expect_grep out.txt "  String: 1" "stat counts Strings per type"
expect_grep out.txt "  Bool: 1" "stat counts Bools per type"

# A record with attributes, laid out by the library in zero-based form: List
# cfg with the attribute v="1", holding String h="x" with the attribute u="y"
# and Int p=80.  JSON carries no attributes, so the 388 bytes are given here.
attr_bytes=(
  '\x84\x01\x00\x00\x07\x00\x00\x00\x03\x00\x00\x00\x00\x00\x00\x00\x40\x00\x00\x00\x00\x00\x00\x00\x02\x00\x00\x00\x00\x00\x00\x00'
  '\x98\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x48\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00'
  '\x63\x00\x66\x00\x67\x00\x00\x00\x50\x00\x00\x00\x00\x00\x00\x00\x48\x00\x00\x00\x06\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00'
  '\x40\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x44\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00'
  '\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x76\x00\x00\x00\x31\x00\x00\x00\xa8\x00\x00\x00\x00\x00\x00\x00'
  '\x40\x01\x00\x00\x00\x00\x00\x00\x98\x00\x00\x00\x06\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x40\x00\x00\x00\x00\x00\x00\x00'
  '\x01\x00\x00\x00\x00\x00\x00\x00\x94\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x44\x00\x00\x00\x00\x00\x00\x00'
  '\x98\x00\x00\x00\x00\x00\x00\x00\x68\x00\x00\x00\x4c\x00\x00\x00\x00\x00\x00\x00\x48\x00\x00\x00\x06\x00\x00\x00\x01\x00\x00\x00'
  '\x00\x00\x00\x00\x40\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x44\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00'
  '\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x75\x00\x00\x00\x79\x00\x00\x00\x78\x00\x00\x00'
  '\x44\x00\x00\x00\x03\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x40\x00\x00\x00\x00\x00\x00\x00\x50\x00\x00\x00\x00\x00\x00\x00'
  '\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00'
  '\x70\x00\x00\x00'
)
printf '%b' "${attr_bytes[@]}" >attr.zxv
run validate attr.zxv
expect_status 0 "validate a record with attributes"
run stat attr.zxv
expect_status 0 "stat attr.zxv"
expect_grep out.txt "size: 388 bytes" "stat of attr.zxv: size"
expect_grep out.txt "nodes: 3 " "stat does not count attributes as nodes"
expect_grep out.txt "attributes: 2" "stat counts attributes, nested ones too"
expect_grep out.txt "depth: 2" "attributes add no depth"
if grep -A1 '^attribute types:' out.txt | grep -qx '  String: 2'; then
  pass
else
  fail "stat counts attribute types apart from node types"
fi
run print attr.zxv
expect_status 0 "print attr.zxv"
expect_grep out.txt "h(u=y) = x" "print shows attributes"

# ---- round trip ---------------------------------------------------------------

run convert config.zxv back.json
expect_status 0 "convert config.zxv to JSON"
expect_grep back.json '"port": 8443' "JSON output keeps numbers and names"
expect_grep back.json 'K\u00f6ln' "JSON output escapes non-ASCII"
run convert back.json again.zxv
expect_status 0 "convert the written JSON back to .zxv"
expect_same config.zxv again.zxv "json -> zxv -> json -> zxv round trip"
run convert again.zxv again.json
expect_status 0 "second JSON conversion"
expect_same back.json again.json "zxv -> json is stable"

# ---- every dialect --------------------------------------------------------------

# Dom prints only records in DOM form (below); every other format prints the
# example configuration.
for dialect in tree simple yam vireo qv natural json zxv; do
  rm -f "out.$dialect"
  run convert --to "$dialect" config.zxv "out.$dialect"
  expect_status 0 "convert --to $dialect"
  expect_nonempty "out.$dialect" "convert --to $dialect"
  rm -f "json.$dialect"
  run convert --from json --to "$dialect" "$CONFIG_JSON" "json.$dialect"
  expect_status 0 "convert JSON --to $dialect"
  expect_same "out.$dialect" "json.$dialect" "JSON and .zxv input give the same $dialect"
done
expect_same config.zxv out.zxv "zxv -> zxv keeps the record"
expect_grep out.natural "<port>8443</port>" "Natural XML writes scalars as elements"

# A record in DOM form: a List of attributes, children and text, the
# children again in DOM form.
printf '%s' '{"catalog": [{"version": "1.0", "lang": "de"}, {"book": [{"id": "b1"}, [], "Über Records"]}, ""]}' >dom.json
rm -f dom.dom
run convert --to dom dom.json dom.dom
expect_status 0 "convert --to dom of a DOM-form record"
expect_nonempty dom.dom "convert --to dom of a DOM-form record"
expect_grep dom.dom "catalog" "Dom writes the root element"
expect_grep dom.dom "Über Records" "Dom writes the text as UTF-8"

# A record of another shape: Dom has nothing to print, which is an error
# rather than an empty file.
rm -f config.dom
run convert config.zxv config.dom
expect_status 1 "convert --to dom of a record not in DOM form"
expect_grep err.txt "config.dom was not written" "Dom with nothing to print says so"
expect_absent config.dom "Dom with nothing to print"

# Output formats guessed from extensions.
run convert config.zxv guessed.xml
expect_status 0 "convert to .xml"
expect_same out.natural guessed.xml ".xml means Natural XML"
run convert config.zxv guessed.tree
expect_status 0 "convert to .tree"
expect_same out.tree guessed.tree ".tree means the tree dialect"

run convert config.zxv out.unknown
expect_status 2 "unknown output extension"
expect_grep err.txt "out.unknown" "unknown output extension names the file"
expect_absent out.unknown "unknown output extension"

run convert --to nonsense config.zxv out.x
expect_status 2 "unknown --to format"
expect_grep err.txt "nonsense" "unknown --to format is named"

run convert --from tree config.zxv out.json
expect_status 2 "a printed dialect is no input format"

# ---- standard input and output -------------------------------------------------

status=0
"$ZXV" convert --from json --to zxv - - <"$CONFIG_JSON" >stdin.zxv 2>err.txt || status=$?
expect_status 0 "convert from stdin to stdout"
expect_same config.zxv stdin.zxv "stdin/stdout conversion gives the same record"

status=0
"$ZXV" convert --to tree config.zxv - >stdout.tree 2>err.txt || status=$?
expect_status 0 "convert to stdout"
expect_same out.tree stdout.tree "tree on stdout equals the tree file"

status=0
"$ZXV" validate - <config.zxv >out.txt 2>err.txt || status=$?
expect_status 0 "validate stdin"
expect_grep out.txt "<stdin>: ok" "validate stdin"

status=0
"$ZXV" print - <config.zxv >out.txt 2>err.txt || status=$?
expect_status 0 "print stdin"
expect_same out.tree out.txt "print equals convert --to tree"

status=0
"$ZXV" convert - out.zxv <"$CONFIG_JSON" >out.txt 2>err.txt || status=$?
expect_status 2 "stdin without --from"
expect_grep err.txt "--from" "stdin without --from asks for it"

run convert config.zxv -
expect_status 2 "stdout without --to"
expect_grep err.txt "--to" "stdout without --to asks for it"

# ---- broken .zxv files -----------------------------------------------------------

size="$(file_size config.zxv)"
head -c $((size - 1)) config.zxv >truncated.zxv
run validate truncated.zxv
expect_status 1 "validate a truncated file"
expect_grep err.txt "truncated.zxv: invalid:" "truncated file is named"
expect_grep err.txt "size word" "truncated file: the length is the problem"

cp config.zxv padded.zxv
printf 'x' >>padded.zxv
run validate padded.zxv
expect_status 1 "validate a file with a trailing byte"
expect_grep err.txt "padded.zxv: invalid:" "padded file is named"

# The root's type word (offset 4) set to a code no record uses.
cp config.zxv badtype.zxv
printf '\xff' | dd of=badtype.zxv bs=1 seek=4 conv=notrunc status=none
run validate badtype.zxv
expect_status 1 "validate a file with a corrupted type"
expect_grep err.txt "badtype.zxv: invalid:" "corrupted type: file is named"
expect_grep err.txt "zero-based" "corrupted type fails the structure check"

# The root's item-array distance (offset 32) pointed far outside the block.
cp config.zxv baditems.zxv
printf '\xf0\xff\xff\x0f' | dd of=baditems.zxv bs=1 seek=32 conv=notrunc status=none
run validate baditems.zxv
expect_status 1 "validate a file with a corrupted distance"
expect_grep err.txt "baditems.zxv: invalid:" "corrupted distance: file is named"

run print baditems.zxv
expect_status 1 "print refuses a corrupted file"
expect_grep err.txt "baditems.zxv" "print names the corrupted file"
run stat truncated.zxv
expect_status 1 "stat refuses a truncated file"
expect_grep err.txt "truncated.zxv" "stat names the truncated file"
rm -f never.json
run convert baditems.zxv never.json
expect_status 1 "convert refuses a corrupted file"
expect_absent never.json "convert of a corrupted file"

: >empty.zxv
run validate empty.zxv
expect_status 1 "validate an empty file"
expect_grep err.txt "empty.zxv: invalid:" "empty file is named"

head -c 40 config.zxv >short.zxv
printf '\x28\x00\x00\x00' | dd of=short.zxv bs=1 seek=0 conv=notrunc status=none
run validate short.zxv
expect_status 1 "validate a record shorter than a header"
expect_grep err.txt "short.zxv: invalid:" "short record is named"

# A JSON text is no .zxv record.
run validate "$CONFIG_JSON"
expect_status 1 "validate a JSON file"

# Several files: each reported, the status reflects the bad one.
run validate config.zxv truncated.zxv small.zxv
expect_status 1 "validate a mix of good and bad files"
expect_grep out.txt "config.zxv: ok" "mix: good file reported ok"
expect_grep out.txt "small.zxv: ok" "mix: file after a bad one still checked"
expect_grep err.txt "truncated.zxv: invalid:" "mix: bad file reported"

# ---- missing and unreadable files ------------------------------------------------

run validate missing.zxv
expect_status 1 "validate a missing file"
expect_grep err.txt "missing.zxv: invalid: cannot open" "missing file is named"

run print missing.zxv
expect_status 1 "print a missing file"
expect_grep err.txt "missing.zxv: cannot open" "print names the missing file"

rm -f never.zxv
run convert missing.json never.zxv
expect_status 1 "convert a missing file"
expect_grep err.txt "missing.json: cannot open" "convert names the missing file"
expect_absent never.zxv "convert of a missing file"

mkdir adir
run validate adir
expect_status 1 "validate a directory"
expect_grep err.txt "adir: invalid: cannot read" "a directory cannot be read"

run convert config.zxv no-such-dir/out.json
expect_status 1 "convert into a missing directory"
expect_grep err.txt "no-such-dir/out.json: cannot create" "unwritable output is named"

# ---- bad JSON ----------------------------------------------------------------------

printf '{"a": [1, 2' >unclosed.json
rm -f never.zxv
run convert unclosed.json never.zxv
expect_status 1 "convert unclosed JSON"
expect_grep err.txt "unclosed.json: invalid JSON" "unclosed JSON is named"
expect_absent never.zxv "convert of unclosed JSON"

printf '{\n  "a": tru\n}\n' >typo.json
run convert typo.json never.zxv
expect_status 1 "convert JSON with a typo"
expect_grep err.txt "typo.json: invalid JSON at line 2" "JSON error tells the line"
expect_absent never.zxv "convert of JSON with a typo"

: >empty.json
run convert empty.json never.zxv
expect_status 1 "convert an empty JSON file"
expect_grep err.txt "empty.json: empty file" "empty JSON file is named"
expect_absent never.zxv "convert of an empty JSON file"

printf 'not json at all' >text.json
run print text.json
expect_status 1 "print non-JSON text as JSON"
expect_grep err.txt "text.json: invalid JSON" "non-JSON text is named"

printf '{"a": 1}\0{"b": 2}' >nul.json
run convert nul.json never.zxv
expect_status 1 "JSON with a NUL byte"
expect_grep err.txt "nul.json" "JSON with a NUL byte is named"

status=0
printf '[1, 2' | "$ZXV" convert --from json --to zxv - - >out.txt 2>err.txt || status=$?
expect_status 1 "bad JSON on stdin"
expect_grep err.txt "<stdin>: invalid JSON" "bad JSON on stdin is named <stdin>"

# ---- summary -------------------------------------------------------------------

finish
