// Event filters: keys with their accepted values, laid out as "EventFilter".
#include "messaging/message_testing.h"

namespace {

using namespace zxt;
using ZxVariantHelper::BasicUtils::NameValuePair;
using ZxVariantHelper::Events::ZxVariantEventFilter;

Block Out(ZxVariantEventFilter& filter) { return Block(filter.GetZxVariant(nullptr)); }

TEST(EventFilter, AcceptedValuesAreKeptUnnamedUnderTheirKeysInOrder) {
  ZxVariantEventFilter filter;
  EXPECT_FALSE(filter.SetSeverity(0));
  EXPECT_FALSE(filter.SetEventID(0));
  EXPECT_FALSE(filter.SetPublisher(nullptr));
  EXPECT_FALSE(filter.SetTopicName(nullptr));
  EXPECT_FALSE(filter.SetCustomData(NameValuePair(u"", 1)));
  EXPECT_FALSE(filter.SetCustomData(NameValuePair(Lay(NewRegister(u"Reg", kReg)).get())));
  EXPECT_TRUE(filter.SetName());
  EXPECT_EQ(filter.GetZxVariant(nullptr), nullptr);  // nothing accepted yet: no tree

  EXPECT_TRUE(filter.SetPublisher(u"AV"));
  EXPECT_TRUE(filter.SetSeverity(2));
  EXPECT_TRUE(filter.SetSeverity(4));
  EXPECT_TRUE(filter.SetEventID(-7));
  EXPECT_TRUE(filter.SetTopicName(u""));
  EXPECT_TRUE(filter.SetCustomData(NameValuePair(u"On", false)));
  EXPECT_TRUE(filter.SetPublisher(u"FW"));
  Block record(filter.GetZxVariant(CountingAlloc));
  ASSERT_TRUE(Validate(record.get()));
  EXPECT_EQ(g_size, ZxvView(record.get()).Size());
  ZxvView root(record.get());
  EXPECT_EQ(S(root.Name()), u"EventFilter");
  EXPECT_EQ(ChildNames(record.get()), (Names{u"TechnologyName", u"ThreatSeverity", u"ThreatEventID", u"Topic", u"On"}));
  EXPECT_EQ(root[u"ThreatSeverity"].ListValueSize(), 2);
  EXPECT_EQ(root[u"ThreatSeverity"][1].Int(), 4);
  EXPECT_TRUE(root[u"ThreatSeverity"][1].Name().IsEmpty());
  EXPECT_EQ(root[u"ThreatEventID"][0].Int(), -7);
  EXPECT_EQ(S(root[u"TechnologyName"][1].String()), u"FW");
  EXPECT_TRUE(root[u"Topic"][0].IsString());
  EXPECT_TRUE(root[u"On"][0].IsBool() && root[u"On"][0].Name().IsEmpty());
}

TEST(EventFilter, CopiesAreDeepAndIndependent) {
  ZxVariantEventFilter original;
  original.SetPublisher(u"AV");
  ZxVariantEventFilter copy(original);
  copy.SetSeverity(2);
  original.SetTopicName(u"t");
  EXPECT_EQ(ChildNames(Out(original).get()), (Names{u"TechnologyName", u"Topic"}));
  EXPECT_EQ(ChildNames(Out(copy).get()), (Names{u"TechnologyName", u"ThreatSeverity"}));
  copy = original;
  EXPECT_TRUE(IsEqual(Out(copy).get(), Out(original).get()));
  copy = ZxVariantEventFilter();
  EXPECT_EQ(copy.GetZxVariant(nullptr), nullptr);
}

}  // namespace
