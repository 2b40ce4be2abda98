// Security-event records: writing an event, exporting it, and reading a
// received one back.
#include <ctime>
#include <utility>

#include "messaging/message_testing.h"
#include "platform/clock.h"

namespace {

using namespace zxt;
using ZxVariantHelper::BasicUtils::NameValuePair;
using ZxVariantHelper::Events::ZxVariantEventInfo;

// A list named "EventList" of the given items.
Block Record(std::initializer_list<ZxvBase*> items) {
  Owned<ZxvList> list(NewList(u"EventList"));
  for (ZxvBase* item : items) list->Append(item);
  return Lay(*list);
}

TEST(EventInfoWrite, MandatoryItemsComeOnceSeverityBeforeId) {
  ZxVariantEventInfo event;
  EXPECT_EQ(event.ExportZxVariant(nullptr), nullptr);
  EXPECT_FALSE(event.SetEventInfo(u"", 1, 2, u"text", true));
  EXPECT_FALSE(event.SetEventInfo(nullptr, 1, 2, u"text", true));
  ASSERT_TRUE(event.SetEventInfo(u"AV", 1001, 3, nullptr, false));
  EXPECT_FALSE(event.SetEventInfo(u"AV", 1001, 3, nullptr, false));
  EXPECT_TRUE(event.IsDuplicateProperty(u"threatseverity"));
  EXPECT_FALSE(event.IsDuplicateProperty(std::u16string(u"ThreatSeverity\0x", 16)));
  Block record(event.ExportZxVariant(CountingAlloc));
  ASSERT_TRUE(Validate(record.get()));
  EXPECT_EQ(g_size, ZxvView(record.get()).Size());
  EXPECT_EQ(NameOf(record.get()), u"EventList");
  EXPECT_EQ(ChildNames(record.get()), (Names{u"TechnologyName", u"ThreatSeverity", u"ThreatEventID"}));
  EXPECT_EQ(ZxvView(record.get())[1].Int(), 3);
}

TEST(EventInfoWrite, OptionalItemsTheUtcTimestampAndExactlyThreeMandatoryNames) {
  ZxVariantEventInfo event;
  event.Initialize();  // rebuilds the table; a doubled one would count six mandatory items
  ASSERT_TRUE(event.SetCustomData(NameValuePair(u"threatseverity", u"high")));
  EXPECT_FALSE(event.SetTaskName(nullptr));
  EXPECT_TRUE(event.SetTaskName(u"scan"));
  EXPECT_TRUE(event.SetTopicName(u""));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"TechnologyName", u"AV")));
  EXPECT_FALSE(event.HasMandatoryFields());  // optional items do not count
  const std::u16string before = ZxVariantHelper::platform::FormatUtcTimestamp(std::time(nullptr));
  EXPECT_TRUE(event.SetEventInfo(u"AV", 9, 4, u"", true));
  EXPECT_EQ(ChildNames(event.GetAllData()), (Names{u"threatseverity", u"TaskName", u"Topic", u"TechnologyName",
                                                   u"ThreatEventID", u"EventIDDescription", u"ThreatTimestamp"}));
  Block record(event.ExportZxVariant(nullptr));  // "threatseverity" counts, ignoring case
  const std::u16string stamp = S(ZxvView(record.get())[u"ThreatTimestamp"].String());
  EXPECT_EQ(stamp.size(), 20u);
  EXPECT_LE(before, stamp);  // fixed width: the texts order as the instants do
  EXPECT_LE(stamp, ZxVariantHelper::platform::FormatUtcTimestamp(std::time(nullptr)));
  EXPECT_FALSE(ZxVariantEventInfo().IsValidInputEventZxVariant(record.get()));  // exact names there
  for (const char16_t* name : {u"topic", u"TASKNAME", u"ThreatEventID"}) EXPECT_TRUE(event.FindProperty(name));
  for (const char16_t* name : {u"ThreatTimestamp", u"PropList", u""}) EXPECT_FALSE(event.FindProperty(name));
}

TEST(EventInfoWrite, CustomDataAndDetailsAreCopiesAndWhatCannotBeCarriedIsRefused) {
  ZxVariantEventInfo event;
  event.SetEventInfo(u"AV", 1, 2, nullptr, false);
  char bytes[] = "xyz";
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Big", 1LL << 40)));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Bytes", bytes, 3)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(u"", 5)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(Lay(NewRegister(u"Reg", kReg)).get())));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(Lay(NewList(u"List")).get())));
  Block details = Sample();
  ASSERT_TRUE(event.SetZxEventDetails(details.get()));
  Put32(details.get(), Child(details.get(), 0, 1) + kType, 12);  // the copy is unaffected
  EXPECT_FALSE(event.SetZxEventDetails(details.get()));
  EXPECT_FALSE(event.SetZxEventDetails(nullptr));
  Block record(event.ExportZxVariant(nullptr));
  ZxvView view(record.get());
  EXPECT_EQ(ChildNames(record.get()).size(), 6u);  // the mandatory three, Big, Bytes, root
  EXPECT_EQ(view[u"Big"].Int64(), 1LL << 40);
  EXPECT_EQ(Get<char>(view[u"Bytes"].Buffer().data, 2), 'z');
  EXPECT_TRUE(IsEqual(view[u"root"], Sample().get()));
}

TEST(EventInfoRead, GettersReadAnExportedEvent) {
  ZxVariantEventInfo writer;
  writer.SetEventInfo(u"AV", 1001, 3, u"Infected file", true);
  writer.SetTaskName(u"Nightly scan");
  writer.SetTopicName(u"Malware");
  writer.SetCustomData(NameValuePair(u"Count", 7));
  writer.SetZxEventDetails(Sample().get());
  writer.SetZxEventDetails(Lay(NewInt(nullptr, 5)).get());
  Block record(writer.ExportZxVariant(nullptr));
  ZxVariantEventInfo event(record.get());
  EXPECT_EQ(event.GetAllData(), record.get());
  EXPECT_EQ(event.GetEventID(), 1001);
  EXPECT_EQ(event.GetSeverity(), 3);
  EXPECT_EQ(Text(event.GetPublisherName()) + u"," + Text(event.GetEventDescription()) + u"," +
                Text(event.GetTaskName()) + u"," + Text(event.GetTopicName()),
            u"AV,Infected file,Nightly scan,Malware");
  EXPECT_EQ(Text(event.GetEventTimeStamp()), S(ZxvView(record.get())[u"ThreatTimestamp"].String()));
  int count = 0;
  bool flag = true;
  EXPECT_TRUE(event.GetCustomData(u"Count", count));
  EXPECT_EQ(count, 7);
  EXPECT_FALSE(event.GetCustomData(u"Count", flag));
  EXPECT_FALSE(flag);
  EXPECT_EQ(std::as_const(event).GetCustomData(u"count"), &ZxvView::theNull);  // exact names
  EXPECT_EQ(std::as_const(event).GetCustomData(u""), &ZxvView::theNull);       // not the unnamed item
  EXPECT_EQ(Text(event.GetCustomData(u"TaskName")), u"Nightly scan");
  EXPECT_TRUE(event.GetCustomData(u"Count").isNull());  // not a String
  EXPECT_EQ(ZxvView(event.GetEventDetails(u"root"))[u"port"].Int(), 8080);
  EXPECT_EQ(event.GetEventDetails(u"Count"), nullptr);
  Block custom(event.GetAllCustomData());
  ASSERT_TRUE(Validate(custom.get()));
  EXPECT_EQ(ChildNames(custom.get()), (Names{u"ThreatTimestamp", u"Count", u"root", u""}));
  EXPECT_EQ(ZxvView(custom.get())[u"root"][u"port"].Int(), 8080);
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

TEST(EventInfoRead, OnlyPresenceIsCheckedAndSettersNeverTouchTheInput) {
  Block record = Record({NewInt(u"TechnologyName", 5), NewString(u"ThreatSeverity", u"high", 0),
                         NewInt(u"ThreatEventID", 17)});
  const std::vector<unsigned char> image = Image(record.get());
  ZxVariantEventInfo event(record.get());
  EXPECT_EQ(event.GetSeverity(), 0);
  EXPECT_EQ(event.GetEventID(), 17);
  int severity = 9;
  EXPECT_FALSE(event.GetCustomData(u"ThreatSeverity", severity));
  EXPECT_EQ(severity, -1);
  EXPECT_TRUE(event.GetPublisherName().empty() && !event.GetPublisherName().isNull());
  EXPECT_FALSE(event.SetZxEventDetails(record.get()));
  EXPECT_TRUE(event.SetCustomData(NameValuePair(u"Count", 1)));
  EXPECT_FALSE(event.SetCustomData(NameValuePair(u"count", 2)));
  EXPECT_TRUE(event.SetEventInfo(u"AV", 1, 2, nullptr, false));  // into its own list
  EXPECT_EQ(event.ExportZxVariant(nullptr), nullptr);
  EXPECT_EQ(Image(record.get()), image);
  ZxVariantEventInfo empty(nullptr);
  EXPECT_TRUE(empty.SetTopicName(u"t"));
  EXPECT_EQ(ChildNames(empty.GetAllData()), Names{u"Topic"});
}

}  // namespace
