// Property containers: path lookups, queryData, assignData and their hooks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "tree/loose_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxv_testing;
using namespace ZxVariantHelper::BOProperty;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;
using Strings = std::vector<std::u16string>;
using Records = std::vector<ZxVariant*>;

template <typename P>
ZxVariant* Data(const SmartPtr<P>& p) { return p ? p->getData() : nullptr; }

// A value as text: "{}" for a List, "-" for nothing.
std::u16string Text(ZxvToAny v) {
  switch (v.getType()) {
    case T::List: return u"{}";
    case T::Int: {
      std::string digits = std::to_string(static_cast<int>(v));
      return std::u16string(digits.begin(), digits.end());
    }
    case T::String: return static_cast<char16_t*>(v) ? static_cast<char16_t*>(v) : u"";
    default: return u"-";
  }
}
std::u16string Read(const PropertyContainer& c, const char16_t* path) { return Text(c[path]); }

// The direct children of the sub-container at `path`, as "name=value".
Strings Children(PropertyContainer& c, const char16_t* path) {
  Strings all;
  for (ZxVariant* r = findNodeInAList(Data(c.getContainer(path)), 0); r != nullptr; r = r->next) {
    all.push_back(NameOf(r) + u"=" + Text(r));
  }
  return all;
}

// A loose List holding copies of `children`.
Loose ListOf(std::initializer_list<NameValuePair> children) {
  PropertyContainer holder;
  for (const NameValuePair& child : children) holder.append(child);
  return Loose(copyZxVariant(holder.getData()));
}

// Mode, Network/Proxy/{Port, Host}, Servers/{unnamed {Name, Port} x 2},
// "a/b", "2", Port.
void Fill(PropertyContainer& root) {
  root.append(NameValuePair(u"Mode", u"fast"));
  SmartPtr<PropertyContainer> proxy = root.appendContainer(u"Network")->appendContainer(u"Proxy");
  proxy->append(NameValuePair(u"Port", 3128));
  proxy->append(NameValuePair(u"Host", u"gw"));
  SmartPtr<PropertyContainer> servers = root.appendContainer(u"Servers");
  for (const char16_t* name : {u"a", u"b"}) {
    SmartPtr<PropertyContainer> server = servers->appendContainer(nullptr);
    server->append(NameValuePair(u"Name", name));
    server->append(NameValuePair(u"Port", name[0] == u'a' ? 1 : 2));
  }
  root.append(NameValuePair(u"a/b", 5));
  root.append(NameValuePair(u"2", u"two"));
  root.append(NameValuePair(u"Port", 99));
}

// The three hooks in one.  Each call is logged as its path, with "*" for a
// new element; the call for the path `refuse` answers false, every call
// throws once `raise` is set, and the operator writes twice the source Int.
struct Hooks : DataValidator, AssignmentOperator, ValidatorFunctor {
  std::u16string refuse;
  bool raise = false;
  Strings calls;
  Records parents;
  const ZxVariant* found = nullptr;
  DataValidator& check() { return *this; }
  AssignmentOperator& op() { return *this; }
  ValidatorFunctor& vet() { return *this; }
  bool call(const std::u16string& path, bool isNew, ZxVariant* parent) {
    if (raise) throw std::runtime_error("no");
    calls.push_back(isNew ? path + u"*" : path);
    parents.push_back(parent);
    return path != refuse;
  }
  bool operator()(const ZxVariant* record, const IPropertyContext& c) override {
    found = record;
    return call(Str(c.getPath()), c.isNew(), c.getParentRecord());
  }
  bool operator()(AProperty& target, const AProperty& source, const IPropertyContext& c) override {
    return call(Str(c.getPath()), c.isNew(), c.getParentRecord()) &&
           target.setValue(NameValuePair(u"", 2 * static_cast<int>(source.getValue())));
  }
  bool operator()(const AProperty& current, const AProperty& proposed,
                  const SmartWcharPtr& path) override {
    return proposed.getData() != nullptr && call(Str(path), current.getData() == nullptr, nullptr);
  }
};

// Every lookup agrees on what a path names: get hands out only scalars,
// getContainer only sub-containers, seek answers whether either would.
TEST(PropertyPaths, LookupsFollowNamesIgnoringCasePositionsAndEscapes) {
  PropertyContainer root;
  Fill(root);
  const struct { const char16_t* path; const char16_t* read; } cases[] = {
      {u"/network//PROXY/port/", u"3128"}, {u"servers/1/name", u"b"},
      {u"1/0/1", u"gw"},  // Network, Proxy, Host
      {u"a\\/b", u"5"}, {u"\\2", u"two"}, {u"2", u"{}"},  // position 2 is Servers
      {u"", u"-"}, {u"Nope", u"-"}, {u"Servers/2", u"-"}, {u"Servers/99999999999", u"-"},
      {u"Mode/x", u"-"}};
  for (const auto& c : cases) {
    const std::u16string read = c.read;
    EXPECT_EQ(Read(root, c.path), read) << "case " << (&c - cases);
    EXPECT_EQ(root.seek(c.path), read != u"-") << "case " << (&c - cases);
    EXPECT_EQ(static_cast<bool>(root.get(c.path)), read != u"-" && read != u"{}");
    EXPECT_EQ(static_cast<bool>(root.getContainer(c.path)), read == u"{}");
  }
  SmartPtr<AProperty> port = root.get(u"network/proxy/PORT");
  ASSERT_TRUE(port);
  EXPECT_TRUE(Str(port->getName()) == u"Port" && port->getParent() == &root);
  EXPECT_EQ(Read(*root.getContainer(u"Servers/1"), u"Name"), u"b");
  root.appendContainer(u"mode");  // among equal names the first is taken, whatever its kind
  EXPECT_TRUE(root.get(u"MODE") && !root.getContainer(u"MODE"));
}

TEST(PropertyPaths, FindTriesHereFirstThenEachSubContainerInDocumentOrder) {
  PropertyContainer root;
  Fill(root);
  root.getContainer(u"Servers")->append(NameValuePair(u"Host", u"shallower, but later"));
  EXPECT_EQ(Data(root.find(u"Port")), Data(root.get(u"Port")));  // here first
  EXPECT_EQ(Data(root.find(u"Host")), Data(root.get(u"Network/Proxy/Host")));
  EXPECT_EQ(Data(root.find(u"name")), Data(root.get(u"Servers/0/Name")));
  EXPECT_EQ(Data(root.find(u"proxy/port")), Data(root.get(u"Network/Proxy/Port")));
  EXPECT_EQ(Data(root.findContainer(u"Proxy")), Data(root.getContainer(u"Network/Proxy")));
  EXPECT_EQ(Data(root.findContainer(u"1")), Data(root.getContainer(u"Network")));
  EXPECT_FALSE(root.find(u"Proxy") || root.findContainer(u"Missing") || root.find(u""));
  SmartPtr<PropertyContainer> servers = root.getContainer(u"Servers");  // stays below
  EXPECT_EQ(Data(servers->findContainer(u"1")), Data(root.getContainer(u"Servers/1")));
  EXPECT_EQ(Data(servers->find(u"Port")), Data(root.get(u"Servers/0/Port")));
}

TEST(PropertyPaths, EraseRemovesEitherKindAndAnnouncesIt) {
  Observed root;
  Fill(root);
  SmartPtr<PropertyContainer> proxy = root.getContainer(u"Network/Proxy");
  root.clear();
  EXPECT_TRUE(root.erase(u"Servers/0"));
  EXPECT_EQ(Read(root, u"Servers/0/Name"), u"b");
  EXPECT_TRUE(root.erase(u"Network"));
  EXPECT_EQ(proxy->getData(), nullptr);  // detached with what was under it
  EXPECT_FALSE(root.erase(u"Network") || root.erase(u""));
  EXPECT_EQ(root.log, (Strings{u"-", u"-Network"}));
}

TEST(PropertyQuery, CopiesOutAFlatBlockOrALooseTree) {
  PropertyContainer root;
  Fill(root);
  SmartPtr<PropertyContainer> network = root.getContainer(u"Network");
  network->addAttribute(NameValuePair(u"v", 2));
  static int allocations = 0;
  auto counting = [](unsigned int size) -> void* {
    ++allocations;
    return std::malloc(size);
  };
  ZxVariant* out = nullptr;
  ASSERT_EQ(root.queryData(u"network", &out, true, counting), Result::Ok);
  Flat flat(out);
  EXPECT_EQ(allocations, 1);
  EXPECT_TRUE(ZxVariantHelper::Validate(flat.get()));
  EXPECT_EQ(compareZxVariant(flat.get(), network->getData()), 0);  // attributes included
  ASSERT_EQ(root.queryData(u"Network/Proxy/Host", &out, false), Result::Ok);
  Loose loose(out);  // released on its own: not a record of the tree
  EXPECT_EQ(Text(loose.get()), u"gw");
  ASSERT_EQ(root.queryData(nullptr, &out), Result::Ok);  // the container itself
  Flat whole(out);
  EXPECT_EQ(compareZxVariant(whole.get(), root.getData()), 0);
}

TEST(PropertyQuery, FailuresAnswerNamedCodesAndLeaveOutNull) {
  PropertyContainer root;
  Fill(root);
  ZxVariant* out = reinterpret_cast<ZxVariant*>(1);
  EXPECT_EQ(root.queryData(u"Nope", &out), Result::NotFound);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(root.queryData(u"Mode/x", &out), Result::NotAContainer);
  EXPECT_EQ(root.queryData(u"Mode", nullptr), Result::InvalidArgument);
  appendNodeToAList(root.getData())->type = static_cast<T>(42);
  EXPECT_EQ(root.queryData(u"6", &out), Result::UnsupportedType);  // the record itself
  EXPECT_EQ(root.queryData(u"", &out), Result::UnsupportedType);   // somewhere below
  EXPECT_TRUE(root.erase(u"6"));
  const char* names[] = {"OutOfMemory",  "HookFailed",  "Rejected", "UnsupportedType",
                         "TypeMismatch", "NotAContainer", "NotFound", "NoData",
                         "InvalidArgument", "Ok", "Unknown"};
  for (int code = -9; code <= 1; ++code) EXPECT_STREQ(ResultName(code), names[code + 9]);
}

TEST(PropertyQuery, TheDataValidatorSeesTheRecordAndItsContext) {
  PropertyContainer root;
  Fill(root);
  Hooks hooks;
  ZxVariant* out = nullptr;
  ASSERT_EQ(root.queryData(u"/servers//1/NAME", &out, hooks.check()), Result::Ok);
  Flat flat(out);
  EXPECT_EQ(hooks.calls, Strings{u"servers/1/NAME"});
  EXPECT_EQ(hooks.found, Data(root.get(u"Servers/1/Name")));
  EXPECT_EQ(hooks.parents, Records{Data(root.getContainer(u"Servers/1"))});
  hooks.refuse = u"Mode";
  EXPECT_EQ(root.queryData(u"Mode", &out, hooks.check()), Result::Rejected);
  EXPECT_EQ(out, nullptr);
  hooks.raise = true;
  EXPECT_EQ(root.queryData(u"Mode", &out, hooks.check()), Result::HookFailed);
}

TEST(PropertyAssign, AScalarCreatesTheMissingContainersThenReplacesInPlace) {
  Observed root;
  EXPECT_EQ(root.assignData(u"Network/Proxy/Port", NameValuePair(u"ignored", 8080)), Result::Ok);
  EXPECT_EQ(Read(root, u"network/proxy/port"), u"8080");
  EXPECT_EQ(root.log, (Strings{u"+Network", u"+Proxy", u"+Port"}));  // named after the path
  root.get(u"Network/Proxy/Port")->addAttribute(NameValuePair(u"unit", u"tcp"));
  root.clear();
  EXPECT_EQ(root.assignData(u"NETWORK/proxy/port", NameValuePair(u"x", u"3128")), Result::Ok);
  EXPECT_EQ(Read(root, u"Network/Proxy/Port"), u"3128");
  EXPECT_EQ(std::u16string(root.get(u"Network/Proxy/Port")->getAttribute(u"unit")), u"tcp");
  EXPECT_EQ(root.log, (Strings{u"-Port", u"+Port"}));
  EXPECT_EQ(root.size(), 1u);
}

TEST(PropertyAssign, RefusedPathsAndValuesChangeNothing) {
  PropertyContainer root;
  Fill(root);
  PropertyContainer before(root);
  NameValuePair one(u"v", 1);
  ZxVariant reg{};
  reg.type = T::Register;
  // Network is a container: the conflict is found before Mode is written.
  Loose list = ListOf({one}), conflict = ListOf({{u"Mode", u"slow"}, {u"Network", 1}});
  const struct { const char16_t* path; const ZxVariant* value; int code; } cases[] = {
      {u"Mode/x", one, Result::NotAContainer},     {u"Servers/5/Name", one, Result::NotFound},
      {u"New/0", one, Result::NotFound},           {u"Network", one, Result::TypeMismatch},
      {u"", one, Result::TypeMismatch},            {u"Mode", list.get(), Result::TypeMismatch},
      {u"Mode", nullptr, Result::InvalidArgument}, {u"Mode", &reg, Result::UnsupportedType},
      {u"", conflict.get(), Result::TypeMismatch}};
  for (const auto& c : cases) {
    EXPECT_EQ(root.assignData(c.path, c.value), c.code) << "case " << (&c - cases);
  }
  EXPECT_EQ(root.compare(before), 0);
  EXPECT_EQ(root.assignData(u"Servers/1/Name", NameValuePair(u"", u"c")), Result::Ok);
  EXPECT_EQ(Read(root, u"Servers/1/Name"), u"c");
}

TEST(PropertyAssign, AListIsMergedByNameAndOrderAndTwiceIsOnce) {
  PropertyContainer root;
  Fill(root);
  PropertyContainer value;
  value.append(NameValuePair(u"PORT", 1080));
  value.append(NameValuePair(u"Host", u"proxy"));
  value.append(NameValuePair(u"Extra", 1));
  SmartPtr<PropertyContainer> sub = value.appendContainer(u"Sub");
  sub->append(NameValuePair(u"", 1));
  sub->append(NameValuePair(u"", 2));
  ASSERT_EQ(root.assignData(u"Network/Proxy", value.getData()), Result::Ok);
  EXPECT_EQ(Children(root, u"Network/Proxy"),
            (Strings{u"Port=1080", u"Host=proxy", u"Extra=1", u"Sub={}"}));  // names kept
  PropertyContainer once(root);
  ASSERT_EQ(root.assignData(u"Network/Proxy", value.getData()), Result::Ok);
  EXPECT_EQ(root.compare(once), 0);
  // Unnamed children match the unnamed ones in order; the rest is added.
  Loose three = ListOf({{u"", 7}, {u"", 8}, {u"", 9}});
  ASSERT_EQ(root.assignData(u"Network/Proxy/Sub", three.get()), Result::Ok);
  EXPECT_EQ(Children(root, u"Network/Proxy/Sub"), (Strings{u"=7", u"=8", u"=9"}));
  // A list value may come from this very tree, or be a flat block.
  ASSERT_EQ(root.assignData(u"Network/Proxy/Loop", Data(root.getContainer(u"Network"))),
            Result::Ok);
  EXPECT_EQ(Read(root, u"Network/Proxy/Loop/Proxy/Port"), u"1080");
  EXPECT_FALSE(root.seek(u"Network/Proxy/Loop/Proxy/Loop"));  // the value as it was
  Flat flat(buildZxVariantForTransport(Data(root.getContainer(u"Servers")), nullptr));
  ASSERT_EQ(root.assignData(u"More/Servers", flat.get()), Result::Ok);
  EXPECT_EQ(Read(root, u"More/Servers/1/Name"), u"b");
}

TEST(PropertyAssign, TheValidatorVetsEveryWriteBeforeTheFirst) {
  PropertyContainer root;
  Fill(root);
  PropertyContainer before(root);
  Hooks hooks;
  Loose value = ListOf({{u"Host", u"new"}, {u"Added", 1}, {u"", 2}});
  hooks.refuse = u"Network/Proxy/Added";
  EXPECT_EQ(root.assignData(u"Network/Proxy", value.get(), hooks.vet()), Result::Rejected);
  EXPECT_EQ(root.compare(before), 0);  // all or nothing
  hooks.refuse = u"Fresh";
  hooks.calls.clear();
  EXPECT_EQ(root.assignData(u"Network/Proxy", value.get(), hooks.vet()), Result::Ok);
  EXPECT_EQ(hooks.calls,
            (Strings{u"Network/Proxy/Host", u"Network/Proxy/Added*", u"Network/Proxy/3*"}));
  EXPECT_EQ(Children(root, u"Network/Proxy"),
            (Strings{u"Port=3128", u"Host=new", u"Added=1", u"=2"}));
  EXPECT_EQ(root.assignData(u"Fresh", NameValuePair(u"", 1), hooks.vet()), Result::Rejected);
  EXPECT_FALSE(root.seek(u"Fresh"));
}

TEST(PropertyAssign, TheAssignmentOperatorWritesAndMayRefuse) {
  Observed root;
  root.append(NameValuePair(u"Keep", 1));
  Hooks hooks;
  EXPECT_EQ(root.assignData(u"Keep", NameValuePair(u"", 5), hooks.op()), Result::Ok);
  EXPECT_EQ(Read(root, u"Keep"), u"10");
  // A refused new scalar leaves no container behind.
  hooks.refuse = u"A/B/C";
  root.clear();
  EXPECT_EQ(root.assignData(u"A/B/C", NameValuePair(u"", 1), hooks.op()), Result::Rejected);
  EXPECT_FALSE(root.seek(u"A"));
  EXPECT_TRUE(root.log.empty());
  EXPECT_EQ(hooks.calls, (Strings{u"Keep", u"A/B/C*"}));
  EXPECT_EQ(hooks.parents, (Records{root.getData(), nullptr}));  // its List is still to be made
  // In a list the walk stops at the refusal; what came before stays.
  hooks.refuse = u"L/Y";
  Loose value = ListOf({{u"X", 1}, {u"Y", 1}, {u"Z", 1}});
  EXPECT_EQ(root.assignData(u"L", value.get(), hooks.op()), Result::Rejected);
  EXPECT_EQ(Children(root, u"L"), Strings{u"X=2"});
  hooks.raise = true;
  EXPECT_EQ(root.assignData(u"Keep", NameValuePair(u"", 5), hooks.op()), Result::HookFailed);
  EXPECT_EQ(Read(root, u"Keep"), u"10");
}

}  // namespace
