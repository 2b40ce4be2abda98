// The data every contender works on: the three standard JSON documents (read
// from the data folder, or generated with the same character when the
// folder is missing), the mixed trees of the build workload and the keyed
// objects of the lookup workload.  Everything here is made once, before any
// timing, and shared read-only by all benchmarks of the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zxvbench {

// ---- text -------------------------------------------------------------------

// UTF-8 to UTF-16 and back.  The benchmark texts are well-formed; an
// ill-formed sequence becomes U+FFFD (and a lone surrogate the same).
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

// The number of JSON values in a well-formed text, the outermost one
// included, found by a plain scan of its tokens; independent of every
// contender, it is the count their results are checked against.
std::size_t CountJsonValues(std::string_view text);

// ---- documents --------------------------------------------------------------

struct Document {
  std::string name;      // "twitter.json", ...
  bool generated;        // made here because the file was not found
  std::string utf8;      // the text as read
  std::u16string utf16;  // the same text, converted once before timing
  std::size_t values;    // CountJsonValues(utf8)
};

// Where the documents are read from: the ZXV_BENCH_DATA environment variable
// when set, else <repository>/../shared/bench-data.  The value "generate"
// asks for generated documents whatever exists.
struct DataSource {
  std::string folder;     // empty for "generate"
  bool fromEnvironment;   // named by ZXV_BENCH_DATA
};
DataSource ChooseDataSource();

// twitter.json, citm_catalog.json and canada.json, in this order.  A folder
// that does not exist gives generated documents; a folder named by
// ZXV_BENCH_DATA that does not exist, or a document that cannot be read or
// is empty, is an error (the message is in *error, the result empty).
std::vector<Document> LoadDocuments(const DataSource& source, std::string* error);

// Generated stand-ins, deterministic for a given size (bytes, roughly):
// a social feed of status objects with many short strings, 64-bit ids and
// some non-ASCII text; nested catalogue objects with many integers and
// short keys; a feature collection with long arrays of coordinate pairs.
std::string GenerateSocialFeed(std::size_t bytes);
std::string GenerateCatalogue(std::size_t bytes);
std::string GenerateCoordinates(std::size_t bytes);

// The path of an integer leaf reached by object member names alone, for the
// edit of the tree workload: twitter.json (read or generated) has one;
// empty for the other documents.
std::vector<std::string> EditPathOf(const Document& document);

// ---- mixed trees ------------------------------------------------------------

// One group of the mixed tree: a list whose leaves, in this order, are
//   id (Int), score (Float), name (String), ok (Bool), big (Int64),
//   none (Null), tag (String);
// `leaves` of them (7, or fewer in the last group).
struct MixedGroup {
  std::string key8;  // "g17": the group's name in the named form
  std::u16string key16;
  int id;
  double score;
  std::string name8;
  std::u16string name16;
  bool ok;
  long long big;
  std::string tag8;
  std::u16string tag16;
  int leaves;
};

// The names of the seven leaves, UTF-8 and UTF-16.
extern const char* const kLeafNames8[7];
extern const char16_t* const kLeafNames16[7];

// A root list of groups with exactly `nodes` nodes, the root included.
struct MixedTree {
  std::vector<MixedGroup> groups;
  std::size_t nodes;
};
MixedTree MakeMixedTree(std::size_t nodes);

// The path of the middle group's id leaf, for the tree workload.
std::vector<std::string> MixedEditPath(const MixedTree& tree);

// ---- keyed objects ----------------------------------------------------------

// `count` distinct member names ("field0", ... in a shuffled order) with the
// integer values 0, 1, ...; as JSON text, and the names in the order the
// lookups ask for them (a fixed shuffle, so that every position is asked
// once per round).
struct KeyedObject {
  std::vector<std::string> names8;  // in member order
  std::vector<std::u16string> names16;
  std::vector<std::size_t> askOrder;  // member indexes
  std::string json;
  long long valueSum;  // of all members, what a walk must add up to
};
KeyedObject MakeKeyedObject(std::size_t count);

}  // namespace zxvbench
