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
  for (ZxvView c = ZxvView(msg.getTags()).First(); !c.IsTheNull(); c = c.Next()) texts.push_back(S(c.String()));
  return texts;
}
int IntItem(const AMessage& msg, const char16_t* name) { return msg.at(name).value().getInt(); }
Block Flat(const AMessage& msg) { return Block(BasicUtils::buildZxVariantForTransport(msg, nullptr)); }

// The event record convertFromAMessage makes of `msg`, which it must accept.
Block EventOf(const ZxVariant* msg) {
  ZxVariant* out = nullptr;
  EXPECT_TRUE(convertFromAMessage(msg, &out));
  return Block(out);
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
  msg.clear();
  msg.addHeaderData(AZxVariant(u"Topic", u"t"));
  EXPECT_EQ(isNewMessageFormat(msg), 0);
  EXPECT_EQ(isNewMessageFormat(Lay(NewList(nullptr)).get()), 0);
  EXPECT_EQ(isNewMessageFormat(Lay(NewString(u"Message", u"x", 0)).get()), -1);
  EXPECT_EQ(isNewMessageFormat(nullptr), -1);
}

TEST(ConvertToMessage, RoutesItemsByHeaderKeyAndDepth) {
  ZxVariantEventInfo event;
  ASSERT_TRUE(event.SetEventInfo(u"AV", 1001, 0x10003, u"Infected", false));
  Owned<ZxvList> details(NewList(u"Details"));
  ZxvList* inner = NewList(u"Inner");  // entered, and the walk resumes after it
  inner->Append(NewBool(u"Deep", true));
  details->Append(inner);
  details->Append(NewString(u"TechnologyName", u"engine", 0));
  details->Append(NewInt(u"Priority", 2));
  details->Append(NewInt(nullptr, 9));  // unnamed: skipped
  event.SetZxEventDetails(Lay(*details).get());

  AMessage msg(u"kept");
  ASSERT_TRUE(convertToAMessage(event, msg));
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"TechnologyName", u"Priority", u"Tag"}));
  EXPECT_EQ(ChildNames(msg.body()),
            Names({u"ThreatSeverity", u"ThreatEventID", u"EventIDDescription", u"Deep", u"TechnologyName"}));
  EXPECT_EQ(IntItem(msg, u"ThreatSeverity"), 3);
  EXPECT_EQ(TagTexts(msg), Names({u"SecurityEvent"}));
}

TEST(ConvertToMessage, HighSeverityBitsBecomeTwoTagsAtMostAndANonIntSeverityThrows) {
  struct Case {
    int severity, low;
    Names tags;
  };
  for (const Case& c : {Case{0x80005, 5, {u"Notification"}}, Case{0x9FFFF, 0xFFFF, {u"SecurityEvent", u"Notification"}},
                        Case{0x368004, 0x8004, {}}}) {
    ZxVariantEventInfo event;
    event.SetEventInfo(u"AV", 1, c.severity, nullptr, false);
    AMessage msg(u"m");
    ASSERT_TRUE(convertToAMessage(event, msg));
    EXPECT_EQ(IntItem(msg, u"ThreatSeverity"), c.low) << c.severity;
    EXPECT_EQ(TagTexts(msg), c.tags) << c.severity;
  }
  ZxVariantEventInfo event;
  event.SetCustomData(NameValuePair(u"ThreatSeverity", u"high"));
  event.SetEventInfo(u"AV", 1, 2, nullptr, false);
  AMessage msg(u"m");
  const AMessage before(msg);
  ExpectLogicError([&] { convertToAMessage(event, msg); }, kConversion);
  EXPECT_TRUE(msg == before);
}

TEST(ConvertFromMessage, TagBitsJoinTheSeverityWrittenBackIntoTheMessage) {
  AMessage msg = Alert();
  msg.addTag(u"Notification");
  msg.addTag(u"Destination-SMTP");
  msg[u"ThreatSeverity"] = 2;
  msg[u"Path"] = u"/tmp/x";
  Block flat = Flat(msg);
  Block event = EventOf(msg);
  ASSERT_TRUE(Validate(event.get()));
  EXPECT_EQ(ChildNames(event.get()), Names({u"TechnologyName", u"ThreatSeverity", u"ThreatEventID",
                                              u"EventIDDescription", u"Name", u"Path"}));
  ZxVariantEventInfo received(event.get());
  EXPECT_EQ(received.GetSeverity(), 0x180002);
  EXPECT_EQ(received.GetEventID(), 42);
  EXPECT_EQ(Text(received.GetPublisherName()) + Text(received.GetEventDescription()), u"AVdesc");
  EXPECT_EQ(IntItem(msg, u"ThreatSeverity"), 0x180002);  // the caller's record changed

  EXPECT_TRUE(IsEqual(EventOf(flat.get()).get(), event.get()));
  EXPECT_EQ(ZxvView(flat.get())[u"Body"][u"ThreatSeverity"].Int(), 0x180002);  // a flat block too
}

TEST(ConvertFromMessage, FallsBackForTechnologyAndSeverity) {
  AMessage msg(u"m");
  msg[u"Origin"] = u"Scanner";
  msg.addHeaderData(AZxVariant(u"ThreatSeverity", 1));
  msg.addTag(u"SecurityEvent");
  msg.getTags().pushBack(AZxVariant(u"Tag"));  // a Null entry is skipped
  Block event = EventOf(msg);
  ZxVariantEventInfo received(event.get());
  EXPECT_EQ(Text(received.GetPublisherName()), u"Scanner");
  EXPECT_EQ(received.GetSeverity(), 0x170001);  // not 0x10001: the two ways differ
  msg[u"TechnologyName"] = u"from the body";  // not a header key: into the Body
  event = EventOf(msg);
  EXPECT_EQ(Text(ZxVariantEventInfo(event.get()).GetPublisherName()), u"from the body");
}

TEST(ConvertFromMessage, RefusesOrThrowsWithoutABlockAndLeaksNothing) {
  ZxVariant* out = nullptr;
  EXPECT_FALSE(convertFromAMessage(nullptr, &out));
  EXPECT_FALSE(convertFromAMessage(Alert(), nullptr));
  AMessage headless = Alert(), anonymous(u"m"), buffer = Alert(), bodyList = Alert(), idText = Alert(),
           severityText = Alert(), intTag = Alert();
  headless.clear();
  headless.body();
  NameValuePair blob(u"Blob", const_cast<char*>("abc"), 3);
  buffer.addHeaderData(AZxVariant(static_cast<const ZxVariant*>(blob)));
  bodyList.body()(u"Nested");
  idText.body().erase(u"ThreatEventID");
  idText[u"ThreatEventID"] = u"42";
  severityText[u"ThreatSeverity"] = u"high";
  intTag.getTags().pushBack(AZxVariant(u"Tag", 1));
  for (const AMessage* refused : {&headless, &anonymous, &buffer, &bodyList, &idText, &severityText, &intTag}) {
    out = reinterpret_cast<ZxVariant*>(&out);
    if (refused == &idText || refused == &severityText || refused == &intTag) {
      ExpectLogicError([&] { convertFromAMessage(*refused, &out); }, kConversion);
    } else {
      EXPECT_FALSE(convertFromAMessage(*refused, &out));
    }
    EXPECT_EQ(out, nullptr);
  }
}

}  // namespace
