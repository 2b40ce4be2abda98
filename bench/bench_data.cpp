#include "bench_data.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <sstream>

#ifndef ZXV_BENCH_SOURCE_DIR
#error "ZXV_BENCH_SOURCE_DIR names the repository root (set by bench/CMakeLists.txt)"
#endif

namespace zxvbench {
namespace {

// ---- UTF-8 / UTF-16 ---------------------------------------------------------

constexpr char32_t kReplacement = 0xFFFD;

// The code point starting at text[*i]; advances *i past it.
char32_t DecodeUtf8(std::string_view text, std::size_t* i) {
  const auto lead = static_cast<unsigned char>(text[(*i)++]);
  if (lead < 0x80) return lead;
  int more;
  char32_t cp;
  if (lead >= 0xF0 && lead <= 0xF4) {
    more = 3;
    cp = lead & 0x07;
  } else if (lead >= 0xE0) {
    more = 2;
    cp = lead & 0x0F;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    more = 1;
    cp = lead & 0x1F;
  } else {
    return kReplacement;
  }
  for (int k = 0; k < more; ++k) {
    if (*i >= text.size()) return kReplacement;
    const auto next = static_cast<unsigned char>(text[*i]);
    if ((next & 0xC0) != 0x80) return kReplacement;
    cp = cp << 6 | (next & 0x3F);
    ++*i;
  }
  const bool overlong = (more == 2 && cp < 0x800) || (more == 3 && cp < 0x10000);
  if (overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return kReplacement;
  return cp;
}

void AppendUtf8(char32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | cp >> 6));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | cp >> 12));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | cp >> 18));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

// ---- generation -------------------------------------------------------------

// splitmix64: small, fast and the same everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : m_state(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  std::uint64_t Below(std::uint64_t n) { return Next() % n; }
  double Unit() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }
  bool Chance(unsigned percent) { return Below(100) < percent; }

 private:
  std::uint64_t m_state;
};

// JSON text written by hand: commas, member names, escaped strings and,
// when `indent` is not 0, one member or element per line indented by that
// many blanks per level (as twitter.json and citm_catalog.json are).
class JsonText {
 public:
  explicit JsonText(int indent = 0) : m_indent(indent) {}

  std::string& str() { return m_text; }
  std::size_t size() const { return m_text.size(); }

  void Open(char bracket) {
    Separate();
    m_text.push_back(bracket);
    m_first = true;
    ++m_depth;
  }
  void Close(char bracket) {
    --m_depth;
    if (!m_first) NewLine();
    m_text.push_back(bracket);
    m_first = false;
  }
  void Key(std::string_view name) {
    Separate();
    Quoted(name);
    m_text.append(m_indent != 0 ? ": " : ":");
    m_afterKey = true;
  }
  void String(std::string_view text) {
    Separate();
    Quoted(text);
  }
  void Raw(std::string_view token) {
    Separate();
    m_text.append(token);
  }
  void Int(long long value) { Raw(std::to_string(value)); }
  // A fixed number of decimals, always with a fraction part.
  void Fixed(double value, int decimals) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
    Raw(digits);
  }
  void Bool(bool value) { Raw(value ? "true" : "false"); }
  void Null() { Raw("null"); }

 private:
  void NewLine() {
    if (m_indent == 0) return;
    m_text.push_back('\n');
    m_text.append(static_cast<std::size_t>(m_indent * m_depth), ' ');
  }
  void Separate() {
    if (m_afterKey) {
      m_afterKey = false;
      m_first = false;
      return;
    }
    if (!m_first) m_text.push_back(',');
    if (m_depth > 0) NewLine();
    m_first = false;
  }
  void Quoted(std::string_view text) {
    m_text.push_back('"');
    for (char c : text) {
      if (c == '"' || c == '\\') {
        m_text.push_back('\\');
        m_text.push_back(c);
      } else if (c == '\n') {
        m_text.append("\\n");
      } else {
        m_text.push_back(c);
      }
    }
    m_text.push_back('"');
  }

  std::string m_text;
  int m_indent;
  int m_depth = 0;
  bool m_first = true;
  bool m_afterKey = false;
};

const char* const kWords[] = {
    "the",    "morning", "train",  "coffee", "river",   "signal", "market", "garden",
    "window", "winter",  "quiet",  "city",   "bright",  "paper",  "stone",  "music",
    "café",   "naïve",   "über",   "größe",  "東京",    "新しい", "ニュース", "Москва",
    "día",    "façade",  "smörgås", "ünïcödé", "北京",   "한국어", "جديد",   "ελληνικά",
};
constexpr std::size_t kWordCount = sizeof kWords / sizeof kWords[0];

std::string Words(Random& random, std::size_t count, unsigned nonAsciiPercent) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text.push_back(' ');
    const std::size_t ascii = 16;
    text += random.Chance(nonAsciiPercent) ? kWords[ascii + random.Below(kWordCount - ascii)]
                                           : kWords[random.Below(ascii)];
  }
  return text;
}

std::string Handle(Random& random) {
  static const char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789_";
  std::string handle;
  const std::size_t length = 5 + random.Below(10);
  for (std::size_t i = 0; i < length; ++i) handle.push_back(kLetters[random.Below(sizeof kLetters - 1)]);
  return handle;
}

void SocialUser(JsonText& out, Random& random, long long id) {
  const std::string handle = Handle(random);
  out.Open('{');
  out.Key("id");
  out.Int(id);
  out.Key("id_str");
  out.String(std::to_string(id));
  out.Key("name");
  out.String(Words(random, 2, 40));
  out.Key("screen_name");
  out.String(handle);
  out.Key("location");
  out.String(random.Chance(50) ? Words(random, 1, 50) : "");
  out.Key("description");
  out.String(Words(random, 6 + random.Below(10), 30));
  out.Key("url");
  if (random.Chance(40)) {
    out.String("http://t.co/" + Handle(random));
  } else {
    out.Null();
  }
  out.Key("protected");
  out.Bool(false);
  out.Key("followers_count");
  out.Int(static_cast<long long>(random.Below(100000)));
  out.Key("friends_count");
  out.Int(static_cast<long long>(random.Below(5000)));
  out.Key("created_at");
  out.String("Mon Apr 26 06:01:55 +0000 2010");
  out.Key("favourites_count");
  out.Int(static_cast<long long>(random.Below(20000)));
  out.Key("utc_offset");
  out.Int(32400);
  out.Key("time_zone");
  out.String("Tokyo");
  out.Key("verified");
  out.Bool(random.Chance(5));
  out.Key("lang");
  out.String(random.Chance(60) ? "ja" : "en");
  out.Key("profile_background_color");
  out.String("C0DEED");
  out.Key("profile_image_url");
  out.String("http://pbs.twimg.com/profile_images/" + std::to_string(id % 1000000) + "/" + handle +
             "_normal.jpeg");
  out.Key("default_profile");
  out.Bool(random.Chance(50));
  out.Close('}');
}

void SocialStatus(JsonText& out, Random& random, long long id) {
  out.Open('{');
  out.Key("metadata");
  out.Open('{');
  out.Key("result_type");
  out.String("recent");
  out.Key("iso_language_code");
  out.String("ja");
  out.Close('}');
  out.Key("created_at");
  out.String("Sun Aug 31 00:29:15 +0000 2014");
  out.Key("id");
  out.Int(id);
  out.Key("id_str");
  out.String(std::to_string(id));
  out.Key("text");
  std::string text = "@";
  text += Handle(random);
  text += ' ';
  text += Words(random, 5 + random.Below(12), 45);
  if (random.Chance(20)) {
    text += '\n';
    text += Words(random, 3, 50);
  }
  out.String(text);
  out.Key("source");
  out.String("<a href=\"http://twitter.com/download/iphone\" rel=\"nofollow\">Twitter for iPhone</a>");
  out.Key("truncated");
  out.Bool(false);
  out.Key("in_reply_to_status_id");
  if (random.Chance(30)) {
    out.Int(id - 1000 - static_cast<long long>(random.Below(100000)));
  } else {
    out.Null();
  }
  out.Key("user");
  SocialUser(out, random, 1186275104 + static_cast<long long>(random.Below(1000000000)));
  out.Key("geo");
  out.Null();
  out.Key("coordinates");
  out.Null();
  out.Key("retweet_count");
  out.Int(static_cast<long long>(random.Below(500)));
  out.Key("favorite_count");
  out.Int(static_cast<long long>(random.Below(500)));
  out.Key("entities");
  out.Open('{');
  out.Key("hashtags");
  out.Open('[');
  for (std::size_t i = random.Below(3); i > 0; --i) {
    out.Open('{');
    out.Key("text");
    out.String(Words(random, 1, 40));
    out.Key("indices");
    out.Open('[');
    out.Int(static_cast<long long>(random.Below(60)));
    out.Int(static_cast<long long>(60 + random.Below(60)));
    out.Close(']');
    out.Close('}');
  }
  out.Close(']');
  out.Key("urls");
  out.Open('[');
  out.Close(']');
  out.Key("user_mentions");
  out.Open('[');
  for (std::size_t i = random.Below(3); i > 0; --i) {
    out.Open('{');
    out.Key("screen_name");
    out.String(Handle(random));
    out.Key("id");
    out.Int(static_cast<long long>(random.Below(3000000000ull)));
    out.Close('}');
  }
  out.Close(']');
  out.Close('}');
  out.Key("favorited");
  out.Bool(false);
  out.Key("retweeted");
  out.Bool(false);
  out.Key("lang");
  out.String("ja");
  out.Close('}');
}

void CatalogueNames(JsonText& out, Random& random, const char* key, std::size_t count, long long base) {
  out.Key(key);
  out.Open('{');
  for (std::size_t i = 0; i < count; ++i) {
    out.Key(std::to_string(base + static_cast<long long>(i) * 7));
    out.String(Words(random, 1 + random.Below(3), 25));
  }
  out.Close('}');
}

void IdArray(JsonText& out, Random& random, std::size_t count) {
  out.Open('[');
  for (std::size_t i = 0; i < count; ++i) out.Int(337184269 + static_cast<long long>(random.Below(5000)));
  out.Close(']');
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const char32_t cp = DecodeUtf8(text, &i);
    if (cp < 0x10000) {
      out.push_back(static_cast<char16_t>(cp));
    } else {
      out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] < 0xE000) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp < 0xE000) {
      cp = kReplacement;
    }
    AppendUtf8(cp, &out);
  }
  return out;
}

std::size_t CountJsonValues(std::string_view text) {
  std::size_t values = 0;
  std::size_t i = 0;
  const std::size_t n = text.size();
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (i < n) {
    const char c = text[i];
    if (c == '"') {
      for (++i; i < n && text[i] != '"'; ++i) {
        if (text[i] == '\\') ++i;
      }
      ++i;
      std::size_t j = i;
      while (j < n && blank(text[j])) ++j;
      if (j >= n || text[j] != ':') ++values;  // a member name is no value
    } else if (c == '{' || c == '[') {
      ++values;
      ++i;
    } else if (c == '-' || (c >= '0' && c <= '9') || c == 't' || c == 'f' || c == 'n') {
      ++values;
      while (i < n && text[i] != ',' && text[i] != ']' && text[i] != '}' && !blank(text[i])) ++i;
    } else {
      ++i;
    }
  }
  return values;
}

std::string GenerateSocialFeed(std::size_t bytes) {
  Random random(0x7477697474657221ull);
  JsonText out(2);
  out.Open('{');
  out.Key("statuses");
  out.Open('[');
  long long id = 505874924095815681ll;
  while (out.size() < bytes) {
    SocialStatus(out, random, id);
    id -= 1 + static_cast<long long>(random.Below(100000));
  }
  out.Close(']');
  out.Key("search_metadata");
  out.Open('{');
  out.Key("completed_in");
  out.Fixed(0.087, 3);
  out.Key("max_id");
  out.Int(505874924095815681ll);
  out.Key("query");
  out.String("%E4%B8%80");
  out.Key("count");
  out.Int(100);
  out.Key("since_id");
  out.Int(0);
  out.Close('}');
  out.Close('}');
  return std::move(out.str());
}

std::string GenerateCatalogue(std::size_t bytes) {
  Random random(0x636174616C6F6775ull);
  JsonText out(4);
  out.Open('{');
  CatalogueNames(out, random, "areaNames", 17, 205705993);
  CatalogueNames(out, random, "audienceSubCategoryNames", 1, 337100890);
  out.Key("blockNames");
  out.Open('{');
  out.Close('}');
  // Events take about a third of the text, performances the rest.
  out.Key("events");
  out.Open('{');
  long long eventId = 138586341;
  std::vector<long long> events;
  while (out.size() < bytes / 3) {
    events.push_back(eventId);
    out.Key(std::to_string(eventId));
    out.Open('{');
    out.Key("description");
    out.Null();
    out.Key("id");
    out.Int(eventId);
    out.Key("logo");
    if (random.Chance(30)) {
      out.String("/images/UE0AAAAACEKo6QAAAAVDSVRN");
    } else {
      out.Null();
    }
    out.Key("name");
    out.String(Words(random, 2 + random.Below(4), 20));
    out.Key("subTopicIds");
    IdArray(out, random, 1 + random.Below(4));
    out.Key("subjectCode");
    out.Null();
    out.Key("subtitle");
    out.Null();
    out.Key("topicIds");
    IdArray(out, random, 1 + random.Below(3));
    out.Close('}');
    eventId += 1 + static_cast<long long>(random.Below(1000));
  }
  out.Close('}');
  out.Key("performances");
  out.Open('[');
  long long performanceId = 339887544;
  while (out.size() < bytes - 2000) {
    out.Open('{');
    out.Key("eventId");
    out.Int(events[random.Below(events.size())]);
    out.Key("id");
    out.Int(performanceId++);
    out.Key("logo");
    out.Null();
    out.Key("name");
    out.Null();
    out.Key("prices");
    out.Open('[');
    for (std::size_t i = 1 + random.Below(3); i > 0; --i) {
      out.Open('{');
      out.Key("amount");
      out.Int(static_cast<long long>(10000 + random.Below(90000)));
      out.Key("audienceSubCategoryId");
      out.Int(337100890);
      out.Key("seatCategoryId");
      out.Int(static_cast<long long>(338937000 + random.Below(1000)));
      out.Close('}');
    }
    out.Close(']');
    out.Key("seatCategories");
    out.Open('[');
    for (std::size_t i = 1 + random.Below(3); i > 0; --i) {
      out.Open('{');
      out.Key("areas");
      out.Open('[');
      for (std::size_t a = 1 + random.Below(6); a > 0; --a) {
        out.Open('{');
        out.Key("areaId");
        out.Int(static_cast<long long>(205705993 + 7 * random.Below(17)));
        out.Key("blockIds");
        out.Open('[');
        out.Close(']');
        out.Close('}');
      }
      out.Close(']');
      out.Key("seatCategoryId");
      out.Int(static_cast<long long>(338937000 + random.Below(1000)));
      out.Close('}');
    }
    out.Close(']');
    out.Key("seatMapImage");
    out.Null();
    out.Key("start");
    out.Int(1372701600000ll + static_cast<long long>(random.Below(100000)) * 3600000ll);
    out.Key("venueCode");
    out.String("PLEYEL_PLEYEL");
    out.Close('}');
  }
  out.Close(']');
  CatalogueNames(out, random, "seatCategoryNames", 64, 338937000);
  CatalogueNames(out, random, "subTopicNames", 19, 337184262);
  out.Key("subjectNames");
  out.Open('{');
  out.Close('}');
  CatalogueNames(out, random, "topicNames", 4, 107888604);
  out.Key("topicSubTopics");
  out.Open('{');
  out.Key("107888604");
  IdArray(out, random, 2);
  out.Close('}');
  out.Key("venueNames");
  out.Open('{');
  out.Key("PLEYEL_PLEYEL");
  out.String("Salle Pleyel");
  out.Close('}');
  out.Close('}');
  return std::move(out.str());
}

std::string GenerateCoordinates(std::size_t bytes) {
  Random random(0x63616E6164612121ull);
  JsonText out;
  out.Open('{');
  out.Key("type");
  out.String("FeatureCollection");
  out.Key("features");
  out.Open('[');
  out.Open('{');
  out.Key("type");
  out.String("Feature");
  out.Key("properties");
  out.Open('{');
  out.Key("name");
  out.String("Canada");
  out.Close('}');
  out.Key("geometry");
  out.Open('{');
  out.Key("type");
  out.String("Polygon");
  out.Key("coordinates");
  out.Open('[');
  // Rings of a few hundred to a few thousand points each, walking a coast.
  double longitude = -65.613616999999977;
  double latitude = 43.420273000000009;
  while (out.size() < bytes) {
    out.Open('[');
    for (std::size_t points = 200 + random.Below(3000); points > 0 && out.size() < bytes; --points) {
      longitude += (random.Unit() - 0.5) * 0.01;
      latitude += (random.Unit() - 0.5) * 0.01;
      out.Open('[');
      out.Fixed(longitude, 15);
      out.Fixed(latitude, 15);
      out.Close(']');
    }
    out.Close(']');
  }
  out.Close(']');
  out.Close('}');
  out.Close('}');
  out.Close(']');
  out.Close('}');
  return std::move(out.str());
}

DataSource ChooseDataSource() {
  if (const char* named = std::getenv("ZXV_BENCH_DATA"); named != nullptr && *named != 0) {
    if (std::string(named) == "generate") return DataSource{"", true};
    return DataSource{named, true};
  }
  return DataSource{std::string(ZXV_BENCH_SOURCE_DIR) + "/../shared/bench-data", false};
}

std::vector<Document> LoadDocuments(const DataSource& source, std::string* error) {
  struct Kind {
    const char* name;
    std::string (*generate)(std::size_t);
    std::size_t bytes;  // of the standard document
  };
  static const Kind kKinds[] = {
      {"twitter.json", GenerateSocialFeed, 631515},
      {"citm_catalog.json", GenerateCatalogue, 1727204},
      {"canada.json", GenerateCoordinates, 2251051},
  };
  struct stat info {};
  const bool folderExists = !source.folder.empty() && stat(source.folder.c_str(), &info) == 0 &&
                            S_ISDIR(info.st_mode);
  if (!source.folder.empty() && !folderExists && source.fromEnvironment) {
    *error = "ZXV_BENCH_DATA names a folder that does not exist: " + source.folder;
    return {};
  }
  std::vector<Document> documents;
  for (const Kind& kind : kKinds) {
    Document document{kind.name, !folderExists, {}, {}, 0};
    if (folderExists) {
      const std::string path = source.folder + "/" + kind.name;
      std::ifstream in(path, std::ios::binary);
      std::ostringstream text;
      text << in.rdbuf();
      if (!in || text.str().empty()) {
        *error = "cannot read " + path;
        return {};
      }
      document.utf8 = text.str();
    } else {
      document.utf8 = kind.generate(kind.bytes);
    }
    document.utf16 = Utf8ToUtf16(document.utf8);
    document.values = CountJsonValues(document.utf8);
    documents.push_back(std::move(document));
  }
  return documents;
}

std::vector<std::string> EditPathOf(const Document& document) {
  if (document.name == "twitter.json") return {"search_metadata", "count"};
  return {};
}

const char* const kLeafNames8[7] = {"id", "score", "name", "ok", "big", "none", "tag"};
const char16_t* const kLeafNames16[7] = {u"id", u"score", u"name", u"ok", u"big", u"none", u"tag"};

MixedTree MakeMixedTree(std::size_t nodes) {
  Random random(0x6D69786564ull + nodes);
  MixedTree tree{{}, nodes};
  // The root, then groups of a list and up to seven leaves.
  std::size_t left = nodes - 1;
  for (std::size_t g = 0; left != 0; ++g) {
    MixedGroup group;
    group.key8 = 'g';
    group.key8 += std::to_string(g);
    group.id = static_cast<int>(random.Below(1000000));
    group.score = static_cast<double>(random.Below(100000)) / 64.0;
    group.name8 = "item-" + std::to_string(random.Below(100000));
    group.ok = random.Chance(50);
    group.big = 5000000000ll + static_cast<long long>(random.Below(1000000000));
    group.tag8 = random.Chance(20) ? "größe" : "tag" + std::to_string(random.Below(100));
    group.key16 = Utf8ToUtf16(group.key8);
    group.name16 = Utf8ToUtf16(group.name8);
    group.tag16 = Utf8ToUtf16(group.tag8);
    const std::size_t take = std::min<std::size_t>(left, 8);
    group.leaves = static_cast<int>(take - 1);
    left -= take;
    tree.groups.push_back(std::move(group));
  }
  return tree;
}

std::vector<std::string> MixedEditPath(const MixedTree& tree) {
  // The middle group; every group but possibly the last has its id leaf.
  const std::size_t middle = (tree.groups.size() - 1) / 2;
  return {tree.groups[middle].key8, "id"};
}

KeyedObject MakeKeyedObject(std::size_t count) {
  KeyedObject object;
  JsonText out;
  out.Open('{');
  for (std::size_t i = 0; i < count; ++i) {
    object.names8.push_back("field" + std::to_string(i));
    object.names16.push_back(Utf8ToUtf16(object.names8.back()));
    out.Key(object.names8.back());
    out.Int(static_cast<long long>(i));
  }
  out.Close('}');
  object.json = std::move(out.str());
  object.askOrder.resize(count);
  std::iota(object.askOrder.begin(), object.askOrder.end(), std::size_t{0});
  Random random(0x6B657973ull + count);
  for (std::size_t i = count; i > 1; --i) std::swap(object.askOrder[i - 1], object.askOrder[random.Below(i)]);
  object.valueSum = static_cast<long long>(count) * static_cast<long long>(count - 1) / 2;
  return object;
}

}  // namespace zxvbench
