// isNewMessageFormat, and the conversions between messages and security
// events.
#include <utility>

#include "messaging/message_testing.h"

namespace {

using namespace zxt;
using ZxVariantHelper::BasicUtils::NameValuePair;
using ZxVariantHelper::Events::ZxVariantEventInfo;

Names TagTexts(AMessage& msg) {
  Names texts;
  for (ZxvView c = ZxvView(msg.getTags()).First(); !c.IsTheNull(); c = c.Next()) {
    texts.push_back(S(c.String()));
  }
  return texts;
}
int IntItem(const AMessage& msg, const char16_t* name) { return msg.at(name).value().getInt(); }
Block Flat(const AMessage& msg) {
  return Block(BasicUtils::buildZxVariantForTransport(msg, nullptr));
}

struct Converted {
  bool ok;
  Block event;
};
Converted FromMessage(const ZxVariant* msg) {
  ZxVariant* out = nullptr;
  bool ok = convertFromAMessage(msg, &out);
  return {ok, Block(out)};
}

// Header {Name, TechnologyName}, Body {ThreatEventID, EventIDDescription}.
AMessage Alert() {
  AMessage msg(u"Alert");
  msg.addHeaderData(AZxVariant(u"TechnologyName", u"AV"));
  msg[u"ThreatEventID"] = 42;
  msg[u"EventIDDescription"] = u"desc";
  return msg;
}

TEST(MessageFormat, TellsTheNewFormatByTheHeaderName) {
  AMessage msg(u"x");
  EXPECT_EQ(isNewMessageFormat(msg), 1);
  EXPECT_EQ(isNewMessageFormat(Flat(msg).get()), 1);
  msg.clear();
  msg.addHeaderData(AZxVariant(u"Topic", u"t"));
  EXPECT_EQ(isNewMessageFormat(msg), 0);
  EXPECT_EQ(isNewMessageFormat(Lay(NewList(nullptr)).get()), 0);
  EXPECT_EQ(isNewMessageFormat(Lay(NewString(u"Message", u"x", 0)).get()), -1);
  EXPECT_EQ(isNewMessageFormat(nullptr), -1);
}

TEST(ConvertToMessage, RoutesItemsByHeaderKeyAndDepthInBothEventModes) {
  ZxVariantEventInfo event;
  ASSERT_TRUE(event.SetEventInfo(u"AV", 1001, 0x10003, u"Infected", false));
  event.SetTopicName(u"Malware");
  event.SetCustomData(NameValuePair(u"Count", 7));
  Owned<ZxvList> details(NewList(u"Details"));
  details->Append(NewString(u"TechnologyName", u"engine", 0));
  details->Append(NewInt(u"Priority", 2));
  details->Append(NewInt(nullptr, 9));  // unnamed: skipped
  ZxvList* inner = NewList(u"Inner");
  inner->Append(NewBool(u"Deep", true));
  details->Append(inner);
  event.SetZxEventDetails(Lay(*details).get());

  AMessage written(u"kept");
  ASSERT_TRUE(convertToAMessage(event, written));
  EXPECT_EQ(ChildNames(written.header()),
            Names({u"Name", u"TechnologyName", u"Topic", u"Priority", u"Tag"}));
  EXPECT_EQ(ChildNames(written.body()),
            Names({u"ThreatSeverity", u"ThreatEventID", u"EventIDDescription", u"Count",
                   u"TechnologyName", u"Deep"}));
  EXPECT_EQ(IntItem(written, u"ThreatSeverity"), 3);
  EXPECT_EQ(TagTexts(written), Names({u"SecurityEvent"}));

  Block record(event.ExportZxVariant(nullptr));
  AMessage read(u"kept");
  ASSERT_TRUE(convertToAMessage(ZxVariantEventInfo(record.get()), read));
  EXPECT_TRUE(read == written);
}

TEST(ConvertToMessage, HighSeverityBitsBecomeTwoTagsAtMost) {
  struct Case {
    int severity, low;
    Names tags;
  };
  for (const Case& c : {Case{0x80005, 5, {u"Notification"}},
                        Case{0x9FFFF, 0xFFFF, {u"SecurityEvent", u"Notification"}},
                        Case{0x170000, 0, {u"SecurityEvent"}}, Case{0x360004, 4, {}}}) {
    ZxVariantEventInfo event;
    event.SetEventInfo(u"AV", 1, c.severity, nullptr, false);
    AMessage msg(u"m");
    ASSERT_TRUE(convertToAMessage(event, msg));
    EXPECT_EQ(IntItem(msg, u"ThreatSeverity"), c.low) << c.severity;
    EXPECT_EQ(TagTexts(msg), c.tags) << c.severity;
  }
}

TEST(ConvertToMessage, ANonIntSeverityThrowsAndLeavesTheMessageAlone) {
  Owned<ZxvList> list(NewList(u"EventList"));
  list->Append(NewString(u"TechnologyName", u"AV", 0));
  list->Append(NewInt(u"ThreatEventID", 1));
  list->Append(NewString(u"ThreatSeverity", u"high", 0));
  Block record = Lay(*list);
  AMessage msg(u"m");
  const AMessage before(msg);
  ExpectLogicError([&] { convertToAMessage(ZxVariantEventInfo(record.get()), msg); }, kConversion);
  EXPECT_TRUE(msg == before);
  EXPECT_TRUE(convertToAMessage(ZxVariantEventInfo(static_cast<const ZxVariant*>(nullptr)), msg));
  EXPECT_TRUE(msg == before);  // no input record: nothing to add
}

TEST(ConvertFromMessage, TagBitsJoinTheSeverityWrittenBackIntoTheMessage) {
  AMessage msg = Alert();
  msg.addTag(u"Notification");
  msg.addTag(u"Destination-SMTP");
  msg[u"ThreatSeverity"] = 2;
  msg[u"Path"] = u"/tmp/x";
  Block flat = Flat(msg);
  Converted c = FromMessage(msg);
  ASSERT_TRUE(c.ok && c.event);
  EXPECT_TRUE(Validate(c.event.get()));
  EXPECT_EQ(ChildNames(c.event.get()),
            Names({u"TechnologyName", u"ThreatSeverity", u"ThreatEventID", u"EventIDDescription",
                   u"Name", u"Path"}));
  ZxVariantEventInfo received(c.event.get());
  EXPECT_EQ(received.GetSeverity(), 0x180002);
  EXPECT_EQ(received.GetEventID(), 42);
  EXPECT_EQ(Text(received.GetPublisherName()), u"AV");
  EXPECT_EQ(Text(received.GetEventDescription()), u"desc");
  EXPECT_EQ(Text(received.GetCustomData(u"Name")), u"Alert");
  EXPECT_EQ(IntItem(msg, u"ThreatSeverity"), 0x180002);  // the caller's record changed

  Converted fromFlat = FromMessage(flat.get());  // a flat block is changed in place too
  EXPECT_EQ(ZxvView(flat.get())[u"Body"][u"ThreatSeverity"].Int(), 0x180002);
  EXPECT_TRUE(IsEqual(fromFlat.event.get(), c.event.get()));
}

TEST(ConvertFromMessage, FallsBackForTechnologyAndSeverity) {
  AMessage msg(u"m");
  msg[u"Origin"] = u"Scanner";
  msg.addHeaderData(AZxVariant(u"ThreatSeverity", 1));
  msg.addTag(u"SecurityEvent");
  Converted c = FromMessage(msg);
  ASSERT_TRUE(c.ok && c.event);
  ZxVariantEventInfo received(c.event.get());
  EXPECT_EQ(Text(received.GetPublisherName()), u"Scanner");
  EXPECT_EQ(received.GetSeverity(), 0x170001);  // not 0x10001: the two ways differ
  EXPECT_EQ(Text(received.GetEventDescription()), u"");
  msg[u"TechnologyName"] = u"from the body";  // not a header key: into the Body
  c = FromMessage(msg);
  EXPECT_EQ(Text(ZxVariantEventInfo(c.event.get()).GetPublisherName()), u"from the body");
}

TEST(ConvertFromMessage, RefusalsAnswerFalseWithoutABlock) {
  ZxVariant* out = nullptr;
  EXPECT_FALSE(convertFromAMessage(nullptr, &out));
  EXPECT_FALSE(convertFromAMessage(Alert(), nullptr));
  AMessage headless = Alert(), anonymous(u"m"), numericTechnology(u"m"), buffer = Alert(),
           headerList = Alert(), bodyList = Alert();
  headless.clear();
  headless.body();
  numericTechnology.addHeaderData(AZxVariant(u"TechnologyName", 5));
  NameValuePair blob(u"Blob", const_cast<char*>("abc"), 3);
  buffer.addHeaderData(AZxVariant(static_cast<const ZxVariant*>(blob)));
  headerList.addHeaderData(AZxVariantList(u"Extra"), false);
  bodyList.body()(u"Nested");
  for (const AMessage* refused :
       {&headless, &anonymous, &numericTechnology, &buffer, &headerList, &bodyList}) {
    Converted c = FromMessage(*refused);
    EXPECT_FALSE(c.ok);
    EXPECT_EQ(c.event, nullptr);
  }
}

TEST(ConvertFromMessage, WrongItemTypesThrowAndLeakNothing) {
  AMessage idText = Alert(), severityText = Alert(), severityList = Alert(), intTag = Alert();
  idText.body().erase(u"ThreatEventID");
  idText[u"ThreatEventID"] = u"42";
  severityText[u"ThreatSeverity"] = u"high";
  severityList.body()(u"ThreatSeverity");
  intTag.getTags().pushBack(AZxVariant(u"Tag", 1));
  for (const AMessage* bad : {&idText, &severityText, &severityList, &intTag}) {
    ZxVariant* out = reinterpret_cast<ZxVariant*>(&out);
    ExpectLogicError([&] { convertFromAMessage(*bad, &out); }, kConversion);
    EXPECT_EQ(out, nullptr);
  }
  AMessage nullTag = Alert();
  nullTag.getTags().pushBack(AZxVariant(u"Tag"));  // a Null entry is skipped
  EXPECT_TRUE(FromMessage(nullTag).ok);
}

TEST(MessageConversions, EventToMessageToEventRoundTrip) {
  ZxVariantEventInfo event;
  event.SetEventInfo(u"AV", 7, 0x10005, u"found", true);
  event.SetTopicName(u"Malware");
  event.SetCustomData(NameValuePair(u"Count", 3LL));
  Block sent(event.ExportZxVariant(nullptr));
  AMessage msg(u"Event");
  ASSERT_TRUE(convertToAMessage(ZxVariantEventInfo(sent.get()), msg));
  Converted back = FromMessage(Flat(msg).get());
  ASSERT_TRUE(back.ok && back.event);
  ZxVariantEventInfo received(back.event.get());
  EXPECT_EQ(received.GetSeverity(), 0x170005);  // "SecurityEvent" came back as 0x170000
  EXPECT_EQ(received.GetEventID(), 7);
  EXPECT_EQ(Text(received.GetPublisherName()), u"AV");
  EXPECT_EQ(Text(received.GetEventDescription()), u"found");
  EXPECT_EQ(Text(received.GetTopicName()), u"Malware");
  EXPECT_EQ(ZxvView(std::as_const(received).GetCustomData(u"Count")).Int64(), 3);
  EXPECT_EQ(received.GetEventTimeStamp().length(), 20u);  // custom data from the Body
}

}  // namespace
