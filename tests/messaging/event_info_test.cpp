// Security-event records: writing an event, exporting it, and reading a
// received one back.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "record/record_testing.h"
#include "zxvariant/zxvariant.h"

namespace {

using namespace zxt;
using ZxVariantHelper::BasicUtils::NameValuePair;
using ZxVariantHelper::Events::SmartWcharPtr;
using ZxVariantHelper::Events::ZxVariantEventInfo;
using Names = std::vector<std::u16string>;

std::u16string Text(const SmartWcharPtr& text) { return text.isNull() ? u"<null>" : text.get(); }

// The names of a list's items (records and builders alike), in order.
Names ItemNames(const ZxVariant* list) {
  Names names;
  for (ZxvView item = ZxvView(list).First(); !item.IsTheNull(); item = item.Next()) {
    names.push_back(S(item.Name()));
  }
  return names;
}

// A list named "EventList" of the given items.
Block Record(std::initializer_list<ZxvBase*> items) {
  Owned<ZxvList> list(NewList(u"EventList"));
  for (ZxvBase* item : items) list->Append(item);
  return Lay(*list);
}

// A complete event: every optional item, a custom Int and a details list.
Block FullEvent() {
  ZxVariantEventInfo event;
  EXPECT_TRUE(event.SetEventInfo(u"AV", 1001, 3, u"Infected file", true));
  EXPECT_TRUE(event.SetTaskName(u"Nightly scan"));
  EXPECT_TRUE(event.SetTopicName(u"Malware"));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Count", 7)));
  Owned<ZxvList> files(NewList(u"Files"));
  files->Append(NewString(nullptr, u"/tmp/a", 0));
  EXPECT_TRUE(event.SetZxEventDetails(Lay(*files).get()));
  EXPECT_TRUE(event.SetZxEventDetails(Lay(NewInt(nullptr, 5)).get()));
  return Block(event.ExportZxVariant(nullptr));
}

TEST(EventInfoWrite, MandatoryItemsComeOnceSeverityBeforeId) {
  ZxVariantEventInfo event;
  EXPECT_FALSE(event.HasMandatoryFields());
  EXPECT_EQ(event.ExportZxVariant(nullptr), nullptr);
  EXPECT_FALSE(event.SetEventInfo(u"", 1, 2, u"text", true));
  EXPECT_FALSE(event.SetEventInfo(nullptr, 1, 2, u"text", true));
  EXPECT_TRUE(ItemNames(event.GetAllData()).empty());

  ASSERT_TRUE(event.SetEventInfo(u"AV", 1001, 3, nullptr, false));
  EXPECT_FALSE(event.SetEventInfo(u"AV", 1001, 3, nullptr, false));
  EXPECT_TRUE(event.IsDuplicateProperty(u"threatseverity"));
  EXPECT_FALSE(event.IsDuplicateProperty(std::u16string(u"ThreatSeverity\0x", 16)));
  EXPECT_TRUE(event.HasMandatoryFields());
  Block record(event.ExportZxVariant(CountingAlloc));
  ASSERT_TRUE(Validate(record.get()));
  EXPECT_EQ(g_size, ZxvView(record.get()).Size());
  EXPECT_EQ(S(ZxvView(record.get()).Name()), u"EventList");
  EXPECT_EQ(ItemNames(record.get()), (Names{u"TechnologyName", u"ThreatSeverity", u"ThreatEventID"}));
  EXPECT_EQ(ZxvView(record.get())[1].Int(), 3);
}

TEST(EventInfoWrite, OptionalItemsAndTheCurrentUtcTimestamp) {
  ZxVariantEventInfo event;
  ASSERT_TRUE(event.SetCustomData(NameValuePair(u"threatseverity", u"high")));
  std::u16string before = ZxVariantHelper::platform::FormatUtcTimestamp(std::time(nullptr));
  EXPECT_TRUE(event.SetEventInfo(u"AV", 9, 4, u"", true));
  EXPECT_EQ(ItemNames(event.GetAllData()), (Names{u"threatseverity", u"TechnologyName", u"ThreatEventID",
                                                  u"EventIDDescription", u"ThreatTimestamp"}));
  EXPECT_FALSE(event.SetTaskName(nullptr));
  EXPECT_TRUE(event.SetTaskName(u"scan"));
  EXPECT_FALSE(event.SetTaskName(u"again"));
  EXPECT_TRUE(event.SetTopicName(u""));
  Block record(event.ExportZxVariant(nullptr));  // "threatseverity" counts, ignoring case
  ZxvView view(record.get());
  std::u16string stamp = S(view[u"ThreatTimestamp"].String());
  EXPECT_EQ(stamp.size(), 20u);
  EXPECT_LE(before, stamp);  // fixed width: the texts order as the instants do
  EXPECT_LE(stamp, ZxVariantHelper::platform::FormatUtcTimestamp(std::time(nullptr)));
  EXPECT_TRUE(view[u"EventIDDescription"].IsString() && view[u"Topic"].IsString());
  EXPECT_FALSE(ZxVariantEventInfo().IsValidInputEventZxVariant(record.get()));  // exact names there
}

TEST(EventInfoWrite, CustomDataKeepsItsTypeAndRefusesWhatCannotBeCarried) {
  ZxVariantEventInfo event;
  char bytes[] = "xyz";
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Big", 1LL << 40)));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Bytes", bytes, 3)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(u"BYTES", 1)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(u"", 5)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(Lay(NewRegister(u"Reg", kReg)).get())));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(Lay(NewList(u"List")).get())));
  EXPECT_EQ(ItemNames(event.GetAllData()), (Names{u"Big", u"Bytes"}));
  event.SetEventInfo(u"AV", 1, 2, nullptr, false);
  Block record(event.ExportZxVariant(nullptr));
  EXPECT_EQ(ZxvView(record.get())[u"Big"].Int64(), 1LL << 40);
  EXPECT_EQ(Get<char>(ZxvView(record.get())[u"Bytes"].Buffer().data, 2), 'z');
}

TEST(EventInfoWrite, MandatoryMeansExactlyTheThreeMandatoryNames) {
  ZxVariantEventInfo event;
  event.Initialize();  // rebuilds the table; a doubled one would count six
  event.SetTaskName(u"t");
  event.SetTopicName(u"p");
  event.SetCustomData(NameValuePair(u"EventIDDescription", u"d"));
  event.SetCustomData(NameValuePair(u"TechnologyName", u"AV"));
  event.SetCustomData(NameValuePair(u"ThreatEventID", 1));
  EXPECT_FALSE(event.HasMandatoryFields());
  event.SetCustomData(NameValuePair(u"ThreatSeverity", 2));
  EXPECT_TRUE(event.HasMandatoryFields());
  for (const char16_t* name : {u"topic", u"TASKNAME", u"ThreatEventID"}) EXPECT_TRUE(event.FindProperty(name));
  for (const char16_t* name : {u"ThreatTimestamp", u"PropList", u""}) EXPECT_FALSE(event.FindProperty(name));
}

TEST(EventInfoWrite, DetailsAreADeepCopyAndBadOnesAreRefused) {
  ZxVariantEventInfo event;
  event.SetEventInfo(u"AV", 1, 2, nullptr, false);
  Block details = Sample();
  ASSERT_TRUE(event.SetZxEventDetails(details.get()));
  Put32(details.get(), Child(details.get(), 0, 1) + kType, 12);  // the copy is unaffected
  EXPECT_FALSE(event.SetZxEventDetails(details.get()));
  EXPECT_FALSE(event.SetZxEventDetails(nullptr));
  Block record(event.ExportZxVariant(nullptr));
  EXPECT_EQ(ItemNames(record.get()).size(), 4u);
  EXPECT_TRUE(IsEqual(ZxvView(record.get())[u"root"], Sample().get()));
}

TEST(EventInfoRead, AnEventSurvivesTheZeroBasedTripToAnotherAddress) {
  Block wire(NewCopy(FullEvent().get(), nullptr, false, true));
  Block received = RawCopy(wire.get());
  ASSERT_TRUE(ValidateZero(received.get()));
  RebaseFromZero(received.get());
  ZxVariantEventInfo event(received.get());
  EXPECT_EQ(event.GetAllData(), received.get());
  EXPECT_EQ(event.GetEventID(), 1001);
  EXPECT_EQ(event.GetSeverity(), 3);
  EXPECT_EQ(Text(event.GetPublisherName()), u"AV");
  EXPECT_EQ(Text(event.GetEventDescription()), u"Infected file");
  EXPECT_EQ(Text(event.GetTaskName()) + Text(event.GetTopicName()), u"Nightly scanMalware");
  int count = 0;
  bool flag = true;
  EXPECT_TRUE(event.GetCustomData(u"Count", count));
  EXPECT_EQ(count, 7);
  EXPECT_FALSE(event.GetCustomData(u"Count", flag));
  EXPECT_FALSE(flag);
  EXPECT_EQ(ZxvView(std::as_const(event).GetCustomData(u"Count")).Int(), 7);
  EXPECT_EQ(std::as_const(event).GetCustomData(u"count"), &ZxvView::theNull);  // exact names
  EXPECT_EQ(std::as_const(event).GetCustomData(u""), &ZxvView::theNull);  // not the unnamed item
  EXPECT_EQ(Text(event.GetCustomData(u"TaskName")), u"Nightly scan");
  EXPECT_TRUE(event.GetCustomData(u"Count").isNull());  // not a String
  EXPECT_EQ(S(ZxvView(event.GetEventDetails(u"Files"))[0].String()), u"/tmp/a");
  EXPECT_EQ(event.GetEventDetails(u"Count"), nullptr);
  Block custom(event.GetAllCustomData());
  ASSERT_TRUE(Validate(custom.get()));
  EXPECT_EQ(ItemNames(custom.get()), (Names{u"ThreatTimestamp", u"Count", u"Files", u""}));
  EXPECT_EQ(S(ZxvView(custom.get())[u"Files"][0].String()), u"/tmp/a");
}

TEST(EventInfoRead, ARecordWithoutAMandatoryItemIsNotKept) {
  Block partial = Record({NewString(u"TechnologyName", u"AV", 0), NewInt(u"threatEventID", 1),
                          NewInt(u"ThreatSeverity", 3)});
  Block scalar = Lay(NewInt(u"ThreatEventID", 1));
  for (const ZxVariant* input : {partial.get(), scalar.get(), static_cast<ZxVariant*>(nullptr)}) {
    ZxVariantEventInfo event(input);
    EXPECT_EQ(event.GetEventID(), -1);
    EXPECT_TRUE(event.GetPublisherName().isNull());
    EXPECT_EQ(std::as_const(event).GetCustomData(u"ThreatSeverity"), nullptr);
    int number = 5;
    EXPECT_FALSE(event.GetCustomData(u"ThreatSeverity", number));
    EXPECT_EQ(number, -1);
    EXPECT_EQ(event.GetAllCustomData(), nullptr);
    EXPECT_TRUE(ZxvView(event.GetAllData()).Name().IsEmpty());  // its own, unnamed list
  }
}

TEST(EventInfoRead, OnlyPresenceIsCheckedSoOtherTypesReadAsZeroOrEmpty) {
  Block record = Record({NewInt(u"TechnologyName", 5), NewString(u"ThreatSeverity", u"high", 0),
                         NewInt(u"ThreatEventID", 17)});
  ZxVariantEventInfo event(record.get());
  EXPECT_EQ(event.GetSeverity(), 0);
  EXPECT_EQ(event.GetEventID(), 17);
  int severity = 9;
  EXPECT_FALSE(event.GetCustomData(u"ThreatSeverity", severity));
  EXPECT_EQ(severity, -1);
  EXPECT_TRUE(event.GetPublisherName().empty() && !event.GetPublisherName().isNull());
  Block custom(event.GetAllCustomData());
  EXPECT_EQ(ZxvView(custom.get()).ListValueSize(), 0);
}

TEST(EventInfoRead, SettersInReadModeGoToTheOwnListNeverToTheInput) {
  Block record = FullEvent();
  std::vector<unsigned char> image = Image(record.get());
  ZxVariantEventInfo event(record.get());
  EXPECT_FALSE(event.SetZxEventDetails(record.get()));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Count", 1)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(u"count", 2)));
  EXPECT_TRUE(event.SetEventInfo(u"AV", 1, 2, nullptr, false));
  EXPECT_EQ(event.ExportZxVariant(nullptr), nullptr);
  EXPECT_EQ(Image(record.get()), image);
  ZxVariantEventInfo empty(nullptr);
  EXPECT_TRUE(empty.SetTopicName(u"t"));
  EXPECT_EQ(ItemNames(empty.GetAllData()), Names{u"Topic"});
}

}  // namespace
