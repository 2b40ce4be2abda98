// Property containers: path lookups, queryData, assignData and their hooks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "zxvariant/zxvariant.h"
#include "tree/loose_testing.h"

namespace {

using zxv_testing::Loose;
using zxv_testing::NameOf;
using zxv_testing::Str;
using namespace ZxVariantHelper::BOProperty;
using namespace ZxVariantHelper::BasicUtils;
using T = ZxVariant::TypeCodes;



// Root: Mode, Network/Proxy/{Port, Host}, Servers/{unnamed {Name, Port} x 2},
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

// A loose List with the given children, for assignData.
Loose List(std::initializer_list<const NameValuePair*> children) {
  PropertyContainer holder;
  for (const NameValuePair* child : children) holder.append(*child);
  return Loose(copyZxVariant(holder.getData()));
}

struct Event {
  int kind;
  std::u16string name;
};
class Observed : public PropertyContainer {
 public:
  std::vector<Event> events;

 protected:
  void notifyChange(ZxVariant* changed, ZxVariant* parentRecord, int kind) override {
    events.push_back({kind, NameOf(changed)});
    PropertyContainer::notifyChange(changed, parentRecord, kind);
  }
};

TEST(PropertyPaths, NamesIgnoreCaseDigitsArePositionsAndBackslashEscapes) {
  PropertyContainer root;
  Fill(root);
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Port"]), 3128);
  EXPECT_EQ(static_cast<int>(root[u"/network//PROXY/port/"]), 3128);
  EXPECT_EQ(std::u16string(root[u"servers/1/name"]), u"b");
  EXPECT_EQ(std::u16string(root[u"1/0/1"]), u"gw");  // Network, Proxy, Host by position
  EXPECT_EQ(static_cast<int>(root[u"a\\/b"]), 5);
  EXPECT_EQ(std::u16string(root[u"\\2"]), u"two");
  EXPECT_TRUE(root[u"2"] == ZxvToAny::ComplexZxv);   // position 2 is Servers
  EXPECT_TRUE(root[u"Network"] == ZxvToAny::ComplexZxv);
  for (const char16_t* missing : {u"", u"Nope", u"Servers/2", u"Servers/99999999999", u"Mode/x"}) {
    EXPECT_TRUE(root[missing] == ZxvToAny::NullZxv);
  }
}

TEST(PropertyPaths, GetAndSeekFollowThePathAndCheckTheKind) {
  PropertyContainer root;
  Fill(root);
  SmartPtr<AProperty> port = root.get(u"network/proxy/PORT");
  ASSERT_TRUE(port);
  EXPECT_EQ(Str(port->getName()), u"Port");
  EXPECT_EQ(port->getParent(), &root);
  EXPECT_FALSE(root.get(u"Network/Proxy"));
  EXPECT_FALSE(root.getContainer(u"Network/Proxy/Port"));
  EXPECT_FALSE(root.get(u""));
  EXPECT_FALSE(root.getContainer(nullptr));
  SmartPtr<PropertyContainer> server = root.getContainer(u"Servers/1");
  ASSERT_TRUE(server);
  EXPECT_EQ(std::u16string((*server)[u"Name"]), u"b");
  EXPECT_TRUE(root.seek(u"Servers/0/Port"));
  EXPECT_TRUE(root.seek(u"Servers"));
  EXPECT_FALSE(root.seek(u"Servers/0/Port/x"));
  EXPECT_FALSE(root.seek(u""));

  // Among equal names the first is taken, whatever its kind.
  root.appendContainer(u"mode");
  EXPECT_TRUE(root.get(u"MODE"));
  EXPECT_FALSE(root.getContainer(u"MODE"));
}

TEST(PropertyPaths, FindTriesHereFirstThenEachSubContainerInDocumentOrder) {
  PropertyContainer root;
  Fill(root);
  auto value = [](const SmartPtr<AProperty>& p) { return p ? p->getValue() : ZxvToAny::NullZxv; };
  auto record = [](const SmartPtr<PropertyContainer>& c) { return c ? c->getData() : nullptr; };
  EXPECT_EQ(static_cast<int>(value(root.find(u"Port"))), 99);  // directly here
  EXPECT_EQ(std::u16string(value(root.find(u"Name"))), u"a");  // Servers/0
  EXPECT_EQ(static_cast<int>(value(root.find(u"proxy/port"))), 3128);
  SmartPtr<PropertyContainer> proxy = root.findContainer(u"Proxy");
  ASSERT_TRUE(proxy);
  EXPECT_EQ(proxy->size(), 2u);
  EXPECT_EQ(record(root.findContainer(u"1")), record(root.getContainer(u"Network")));
  EXPECT_FALSE(root.find(u"Proxy"));
  EXPECT_FALSE(root.findContainer(u"Missing"));
  EXPECT_FALSE(root.find(u""));
  // A search from a sub-container stays below it.
  SmartPtr<PropertyContainer> servers = root.getContainer(u"Servers");
  EXPECT_EQ(record(servers->findContainer(u"1")), record(root.getContainer(u"Servers/1")));
  EXPECT_EQ(static_cast<int>(value(servers->find(u"Port"))), 1);
}

TEST(PropertyPaths, EraseRemovesEitherKindAndAnnouncesIt) {
  Observed root;
  Fill(root);
  SmartPtr<PropertyContainer> proxy = root.getContainer(u"Network/Proxy");
  root.events.clear();
  EXPECT_TRUE(root.erase(u"Servers/0"));
  EXPECT_EQ(std::u16string(root[u"Servers/0/Name"]), u"b");
  EXPECT_TRUE(root.erase(u"Network"));
  EXPECT_EQ(proxy->getData(), nullptr);
  EXPECT_FALSE(root.erase(u"Network"));
  EXPECT_FALSE(root.erase(u""));
  ASSERT_EQ(root.events.size(), 2u);
  EXPECT_EQ(root.events[1].kind, ChangeKind::Removing);
  EXPECT_EQ(root.events[1].name, u"Network");
}

TEST(PropertyQuery, CopiesOutAFlatBlockOrALooseTree) {
  PropertyContainer root;
  Fill(root);
  root.getContainer(u"Network")->addAttribute(NameValuePair(u"v", 2));
  static int allocations = 0;
  auto counting = [](unsigned int size) -> void* {
    ++allocations;
    return std::malloc(size);
  };
  ZxVariant* flat = nullptr;
  ASSERT_EQ(root.queryData(u"network", &flat, true, counting), Result::Ok);
  EXPECT_EQ(allocations, 1);
  EXPECT_TRUE(ZxVariantHelper::Validate(flat));
  EXPECT_EQ(flat->size, computeZxVariantSize(root.getContainer(u"Network")->getData()));
  EXPECT_EQ(compareZxVariant(flat, root.getContainer(u"Network")->getData()), 0);
  ZxVariantHelper::Delete(flat);

  ZxVariant* loose = nullptr;
  ASSERT_EQ(root.queryData(u"Network/Proxy/Host", &loose, false), Result::Ok);
  EXPECT_EQ(std::u16string(ZxvToAny(loose)), u"gw");
  EXPECT_NE(loose, root.get(u"Network/Proxy/Host")->getData());
  releaseZxVariant(loose);

  ZxVariant* whole = nullptr;
  ASSERT_EQ(root.queryData(nullptr, &whole), Result::Ok);
  EXPECT_EQ(compareZxVariant(whole, root.getData()), 0);
  ZxVariantHelper::Delete(whole);
}

TEST(PropertyQuery, FailuresAnswerNamedCodesAndLeaveOutNull) {
  PropertyContainer root;
  Fill(root);
  ZxVariant* out = reinterpret_cast<ZxVariant*>(1);
  EXPECT_EQ(root.queryData(u"Nope", &out), Result::NotFound);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(root.queryData(u"Mode/x", &out), Result::NotAContainer);
  EXPECT_EQ(root.queryData(u"Mode", nullptr), Result::InvalidArgument);
  ZxVariant odd{};
  odd.type = static_cast<T>(42);
  ZxVariant* list = root.getData();
  appendNodeToAList(list, &odd, nullptr);
  EXPECT_EQ(root.queryData(u"6", &out), Result::UnsupportedType);   // the record itself
  EXPECT_EQ(root.queryData(u"", &out), Result::UnsupportedType);    // somewhere below
  ZxVariant* prev = nullptr;
  findNodeInAList(list, &odd, &prev);
  prev->next = nullptr;  // unlink the stack record again
  --list->value.list.count;
  EXPECT_STREQ(ResultName(Result::NotAContainer), "NotAContainer");
  EXPECT_STREQ(ResultName(1), "Unknown");
}

TEST(PropertyQuery, TheDataValidatorSeesTheRecordAndItsContext) {
  PropertyContainer root;
  Fill(root);
  struct Check : DataValidator {
    bool answer = true;
    bool raise = false;
    std::u16string path;
    const ZxVariant* seen = nullptr;
    const ZxVariant* parent = nullptr;
    bool operator()(const ZxVariant* found, const IPropertyContext& context) override {
      if (raise) throw std::runtime_error("no");
      seen = found;
      path = Str(context.getPath());
      parent = context.getParentRecord();
      EXPECT_FALSE(context.isNew());
      return answer;
    }
  } check;
  ZxVariant* out = nullptr;
  ASSERT_EQ(root.queryData(u"/servers//1/NAME", &out, check), Result::Ok);
  EXPECT_EQ(check.path, u"servers/1/NAME");
  EXPECT_EQ(check.seen, root.get(u"Servers/1/Name")->getData());
  EXPECT_EQ(check.parent, root.getContainer(u"Servers/1")->getData());
  ZxVariantHelper::Delete(out);
  check.answer = false;
  EXPECT_EQ(root.queryData(u"Mode", &out, check), Result::Rejected);
  EXPECT_EQ(out, nullptr);
  check.raise = true;
  EXPECT_EQ(root.queryData(u"Mode", &out, check), Result::HookFailed);
}

TEST(PropertyAssign, AScalarCreatesTheMissingContainersOnTheWay) {
  Observed root;
  EXPECT_EQ(root.assignData(u"Network/Proxy/Port", NameValuePair(u"ignored", 8080)), Result::Ok);
  EXPECT_EQ(static_cast<int>(root[u"network/proxy/port"]), 8080);
  EXPECT_EQ(Str(root.get(u"Network/Proxy/Port")->getName()), u"Port");
  ASSERT_EQ(root.events.size(), 3u);
  const char16_t* added[] = {u"Network", u"Proxy", u"Port"};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(root.events[i].kind, ChangeKind::Added);
    EXPECT_EQ(root.events[i].name, added[i]);
  }
  // A second write replaces the value in place, keeping name and attributes.
  root.get(u"Network/Proxy/Port")->addAttribute(NameValuePair(u"unit", u"tcp"));
  root.events.clear();
  EXPECT_EQ(root.assignData(u"NETWORK/proxy/port", NameValuePair(u"x", u"3128")), Result::Ok);
  EXPECT_EQ(std::u16string(root[u"Network/Proxy/Port"]), u"3128");
  EXPECT_EQ(std::u16string(root.get(u"Network/Proxy/Port")->getAttribute(u"unit")), u"tcp");
  ASSERT_EQ(root.events.size(), 2u);
  EXPECT_EQ(root.events[0].kind, ChangeKind::Removing);
  EXPECT_EQ(root.events[1].kind, ChangeKind::Added);
  EXPECT_EQ(root.size(), 1u);
}

TEST(PropertyAssign, RefusedPathsAndValuesChangeNothing) {
  PropertyContainer root;
  Fill(root);
  PropertyContainer before(root);
  NameValuePair one(u"v", 1);
  EXPECT_EQ(root.assignData(u"Mode/x", one), Result::NotAContainer);
  EXPECT_EQ(root.assignData(u"Servers/5/Name", one), Result::NotFound);  // positions are not made
  EXPECT_EQ(root.assignData(u"New/0", one), Result::NotFound);
  EXPECT_EQ(root.assignData(u"Network", one), Result::TypeMismatch);
  EXPECT_EQ(root.assignData(u"", one), Result::TypeMismatch);
  Loose list = List({&one});
  EXPECT_EQ(root.assignData(u"Mode", list.get()), Result::TypeMismatch);
  EXPECT_EQ(root.assignData(u"Mode", nullptr), Result::InvalidArgument);
  ZxVariant reg{};
  reg.type = T::Register;
  EXPECT_EQ(root.assignData(u"Mode", &reg), Result::UnsupportedType);
  // A conflict deep inside a list value is found before anything is written.
  NameValuePair mode(u"Mode", u"slow");
  NameValuePair network(u"Network", 1);  // Network is a container here
  Loose conflict = List({&mode, &network});
  EXPECT_EQ(root.assignData(u"", conflict.get()), Result::TypeMismatch);
  EXPECT_EQ(root.compare(before), 0);
  EXPECT_EQ(root.assignData(u"Servers/1/Name", NameValuePair(u"", u"c")), Result::Ok);
  EXPECT_EQ(std::u16string(root[u"Servers/1/Name"]), u"c");
}

TEST(PropertyAssign, AListIsMergedByNameAndOrderAndTwiceIsOnce) {
  PropertyContainer root;
  Fill(root);
  // {Port: 1080, Host: "proxy", Extra: true, Sub: {unnamed: 1, unnamed: 2}}
  PropertyContainer value;
  value.append(NameValuePair(u"PORT", 1080));
  value.append(NameValuePair(u"Host", u"proxy"));
  value.append(NameValuePair(u"Extra", true));
  SmartPtr<PropertyContainer> sub = value.appendContainer(u"Sub");
  sub->append(NameValuePair(u"", 1));
  sub->append(NameValuePair(u"", 2));
  ASSERT_EQ(root.assignData(u"Network/Proxy", value.getData()), Result::Ok);
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Port"]), 1080);
  EXPECT_EQ(Str(root.get(u"Network/Proxy/0")->getName()), u"Port");  // the name is kept
  EXPECT_EQ(std::u16string(root[u"Network/Proxy/Host"]), u"proxy");
  EXPECT_TRUE(static_cast<bool>(root[u"Network/Proxy/Extra"]));
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Sub/1"]), 2);
  EXPECT_EQ(root.getContainer(u"Network/Proxy")->size(), 4u);
  PropertyContainer once(root);
  ASSERT_EQ(root.assignData(u"Network/Proxy", value.getData()), Result::Ok);
  EXPECT_EQ(root.compare(once), 0);

  // Unnamed children match the unnamed ones in order; the rest is added.
  PropertyContainer three;
  for (int i : {7, 8, 9}) three.append(NameValuePair(u"", i));
  ASSERT_EQ(root.assignData(u"Network/Proxy/Sub", three.getData()), Result::Ok);
  EXPECT_EQ(root.getContainer(u"Network/Proxy/Sub")->size(), 3u);
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Sub/0"]), 7);
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Sub/2"]), 9);

  // A list value may come from this very tree, or be a flat block.
  ASSERT_EQ(root.assignData(u"Network/Proxy/Loop", root.getContainer(u"Network")->getData()),
            Result::Ok);
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/Loop/Proxy/Port"]), 1080);
  EXPECT_FALSE(root.seek(u"Network/Proxy/Loop/Proxy/Loop"));  // the value as it was
  ZxVariant* flat = buildZxVariantForTransport(root.getContainer(u"Servers")->getData(), nullptr);
  ASSERT_EQ(root.assignData(u"More/Servers", flat), Result::Ok);
  ZxVariantHelper::Delete(flat);
  EXPECT_EQ(std::u16string(root[u"More/Servers/1/Name"]), u"b");
}

TEST(PropertyAssign, TheValidatorVetsEveryWriteBeforeTheFirst) {
  PropertyContainer root;
  Fill(root);
  struct Vet : ValidatorFunctor {
    std::vector<std::u16string> paths;
    std::vector<bool> existing;
    std::u16string refuse;
    bool operator()(const AProperty& current, const AProperty& proposed,
                    const SmartWcharPtr& path) override {
      paths.push_back(Str(path));
      existing.push_back(current.getData() != nullptr);
      EXPECT_NE(proposed.getData(), nullptr);
      return Str(path) != refuse;
    }
  } vet;
  PropertyContainer value;
  value.append(NameValuePair(u"Host", u"new"));
  value.append(NameValuePair(u"Added", 1));
  value.append(NameValuePair(u"", 2));
  vet.refuse = u"Network/Proxy/Added";
  PropertyContainer before(root);
  EXPECT_EQ(root.assignData(u"Network/Proxy", value.getData(), vet), Result::Rejected);
  EXPECT_EQ(root.compare(before), 0);  // all or nothing
  vet.refuse.clear();
  vet.paths.clear();
  vet.existing.clear();
  EXPECT_EQ(root.assignData(u"Network/Proxy", value.getData(), vet), Result::Ok);
  EXPECT_EQ(vet.paths, (std::vector<std::u16string>{u"Network/Proxy/Host", u"Network/Proxy/Added",
                                                     u"Network/Proxy/3"}));
  EXPECT_EQ(vet.existing, (std::vector<bool>{true, false, false}));
  EXPECT_EQ(std::u16string(root[u"Network/Proxy/Host"]), u"new");
  EXPECT_EQ(static_cast<int>(root[u"Network/Proxy/3"]), 2);
  vet.refuse = u"Fresh";
  EXPECT_EQ(root.assignData(u"Fresh", NameValuePair(u"", 1), vet), Result::Rejected);
  EXPECT_FALSE(root.seek(u"Fresh"));
}

TEST(PropertyAssign, TheAssignmentOperatorWritesAndMayRefuse) {
  Observed root;
  root.append(NameValuePair(u"Keep", 1));
  struct Doubling : AssignmentOperator {
    std::vector<bool> fresh;
    std::vector<ZxVariant*> parents;
    bool raise = false;
    bool operator()(AProperty& target, const AProperty& source,
                    const IPropertyContext& context) override {
      if (raise) throw std::runtime_error("no");
      fresh.push_back(context.isNew());
      parents.push_back(context.getParentRecord());
      if (static_cast<int>(source.getValue()) < 0) return false;
      return target.setValue(NameValuePair(u"", 2 * static_cast<int>(source.getValue())));
    }
  } op;
  EXPECT_EQ(root.assignData(u"Keep", NameValuePair(u"", 5), op), Result::Ok);
  EXPECT_EQ(static_cast<int>(root[u"Keep"]), 10);
  // A refused new scalar leaves no container behind.
  root.events.clear();
  EXPECT_EQ(root.assignData(u"A/B/C", NameValuePair(u"", -1), op), Result::Rejected);
  EXPECT_FALSE(root.seek(u"A"));
  EXPECT_TRUE(root.events.empty());
  EXPECT_EQ(op.fresh, (std::vector<bool>{false, true}));
  EXPECT_EQ(op.parents, (std::vector<ZxVariant*>{root.getData(), nullptr}));
  // In a list the walk stops at the refusal; what came before stays.
  PropertyContainer value;
  value.append(NameValuePair(u"X", 1));
  value.append(NameValuePair(u"Y", -1));
  value.append(NameValuePair(u"Z", 1));
  EXPECT_EQ(root.assignData(u"L", value.getData(), op), Result::Rejected);
  EXPECT_EQ(static_cast<int>(root[u"L/X"]), 2);
  EXPECT_FALSE(root.seek(u"L/Y"));
  EXPECT_FALSE(root.seek(u"L/Z"));
  op.raise = true;
  EXPECT_EQ(root.assignData(u"Keep", NameValuePair(u"", 5), op), Result::HookFailed);
  EXPECT_EQ(static_cast<int>(root[u"Keep"]), 10);
}

}  // namespace
