// AMessage: construction, the Header and the Body, indexing, finding, copying.
#include <utility>

#include "messaging/message_testing.h"

namespace {

using namespace zxt;

std::u16string TextOf(const AZxvReference& r) { return r.value().getString().get(); }
int IntOf(const AZxvReference& r) { return r.value().getInt(); }

TEST(MessageHeaderKeys, BisectionMissesProcessNameAndTimestamp) {
  const Names table = {
      u"AuthenticationCode", u"ClientID", u"Cookie", u"CorellationID", u"Description", u"Destination", u"Flags",
      u"Formatting", u"HeaderVersion", u"ID", u"Integrity", u"Localization", u"Mapfile", u"ProcessName",
      u"MsgErrorCode", u"MsgSystemID", u"Name", u"NameAlias", u"Origin", u"Priority", u"ProcessID", u"Resource",
      u"SequenceNumber", u"SessionID", u"Severity", u"SoftwareID", u"SourceEXE", u"SupplierList", u"Tag",
      u"Tag-DEPRECATED_DO_NOT_USE", u"ThreadID", u"Timestamp", u"TimeToLive", u"Topic", u"TransErrorCode"};
  for (std::size_t i = 0; i < table.size(); ++i) {
    bool missed = table[i] == u"ProcessName" || table[i] == u"Timestamp";
    EXPECT_EQ(AMessage::isHeaderKey(table[i].c_str()), !missed) << "entry " << i;
  }
  for (const char16_t* other : {u"topic", u"Topics", u"", u"Zulu", u"Tag-", static_cast<const char16_t*>(nullptr)}) {
    EXPECT_FALSE(AMessage::isHeaderKey(other));
  }
}

TEST(MessageConstruction, NameSeverityAndRecordConstructorsAndTheirErrors) {
  AMessage msg(u"Scan.Done", u"stored nowhere", 7);
  EXPECT_EQ(NameOf(msg), u"Message");
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"Severity"}));
  EXPECT_EQ(IntOf(msg.at(u"Severity")), 7);

  AZxVariantList root(u"Anything"), header(u"header");  // names ignore case
  header.pushBack(AZxVariant(u"ID", 5));
  root.pushBack(AZxVariant(u"Body", u"not a list"));
  root.pushBack(header);
  AMessage copied(root);  // a loose record
  EXPECT_EQ(NameOf(copied), u"Message");
  EXPECT_EQ(IntOf(copied.at(u"id")), 5);
  EXPECT_TRUE(std::as_const(copied).body().isNull());  // the String "Body" does not count
  Block flat(BasicUtils::buildZxVariantForTransport(root, nullptr));
  EXPECT_TRUE(AMessage(flat.get()) == copied);

  Block headless = Lay(NewList(u"Message"));
  Block text = Lay(NewString(u"Message", u"x", 0));
  for (const ZxVariant* bad : {headless.get(), text.get(), static_cast<ZxVariant*>(nullptr)}) {
    ExpectLogicError([&] { AMessage m(bad); }, kParameter);
  }
  ExpectLogicError([] { AMessage m(SmartWcharPtr(nullptr)); }, kParameter);
  ExpectLogicError([] { AMessage m(nullptr, u"x", 1); }, kParameter);
  ExpectLogicError([] { AMessage m(u"x", nullptr, 1); }, kParameter);
}

TEST(MessageCopy, CopiesAreDeepAndAMovedFromMessageIsEmpty) {
  AMessage original(u"n"), assigned(u"other");
  AMessage copy(original);
  copy.addTag(u"Notification");
  assigned = copy;
  AMessage& self = assigned;
  assigned = self;
  AMessage moved(std::move(assigned));
  EXPECT_TRUE(moved == copy);
  EXPECT_FALSE(moved == original);
  EXPECT_EQ(NameOf(assigned), u"Message");  // as clear() leaves a message
  EXPECT_TRUE(ChildNames(assigned).empty());
}

TEST(MessageParts, MadeOnDemandOperatorBracketAlwaysAppendsAndListsAppendOrReplace) {
  AMessage msg(u"n");
  EXPECT_TRUE(std::as_const(msg).body().isNull());
  ExpectLogicError([&] { msg.addTag(nullptr); }, kParameter);
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name"}));  // no tag list was made
  msg.addTag(u"SecurityEvent");
  for (const char16_t* name : {u"Severity", u"Topic", u"Topic", u"Custom", u"ProcessName", u"Timestamp", u"topic"}) {
    msg[name] = name;
  }
  AZxVariantList extra(u"Extra");
  extra.pushBack(AZxVariant(u"a", 1));
  EXPECT_EQ(msg.addHeaderData(extra, false), 0);
  EXPECT_EQ(msg.addData(extra, false), 0);
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"Tag", u"Severity", u"Topic", u"Topic", u"Extra"}));
  EXPECT_EQ(ChildNames(msg.body()), Names({u"Custom", u"ProcessName", u"Timestamp", u"topic", u"Extra"}));
  EXPECT_EQ(msg[u"Fresh"].type(), T::Null);
  EXPECT_TRUE(msg[nullptr].isNull());
  EXPECT_EQ(msg.addHeaderData(extra, true), 0);  // the children are replaced, the name stays
  EXPECT_EQ(msg.addData(AZxVariantList(u"ignored"), true), 0);
  EXPECT_EQ(ChildNames(msg), Names({u"Header", u"Body"}));
  EXPECT_EQ(ChildNames(msg.header()), Names({u"a"}));
  EXPECT_TRUE(msg.body().empty());
}

TEST(MessageLookup, HeaderFirstAndAtSpillsItsIndexIntoTheBody) {
  AMessage msg(u"topic", u"", 2);  // Header {Name, Severity 2}; Body {b0 .. b4 holding 0 .. 4, Severity "high"}
  for (int i = 0; i < 5; ++i) msg.addData(AZxVariant(std::u16string{u'b', char16_t(u'0' + i)}, i));
  msg.addData(AZxVariant(u"Severity", u"high"));
  EXPECT_EQ(IntOf(msg.at(3)), 3);  // Body item 3, not Body item 1
  EXPECT_EQ(IntOf(msg.at(1)), 2);  // Header item 1: Severity
  EXPECT_TRUE(msg.at(6).isNull());
  EXPECT_TRUE(msg.at(-1).isNull());
  EXPECT_EQ(IntOf(msg.at(u"B2")), 2);
  EXPECT_EQ(IntOf(std::as_const(msg).at(u"severity")), 2);
  msg.addTag(u"x");  // Header item 2 is now the tag List
  EXPECT_TRUE(std::as_const(msg).at(2).isNull());
  EXPECT_TRUE(msg.at(u"Tag").isNull());  // a List is never handed out

  AZxVariant text(u"SEVERITY", u""), b4(u"B4", 0), unnamed(5), null(u"Name");
  EXPECT_EQ(msg.find(text), -2);  // the Header's Int; the Body's String is not asked
  EXPECT_EQ(msg.findData(text), 0);
  EXPECT_EQ(TextOf(text), u"high");
  EXPECT_EQ(NameOf(text), u"Severity");  // the found item's name
  EXPECT_EQ(msg.find(b4), 0);
  EXPECT_EQ(IntOf(b4), 4);
  EXPECT_EQ(msg.find(unnamed), -3);
  EXPECT_EQ(msg.findHeaderData(null), -2);  // types compare exactly

  msg.clear();
  EXPECT_EQ(NameOf(msg), u"Message");
  EXPECT_EQ(msg.find(b4), -1);
  EXPECT_TRUE(std::as_const(msg).at(0).isNull());
  EXPECT_TRUE(msg.at(u"Name").isNull());
  EXPECT_TRUE(ChildNames(msg).empty());  // finding, lookups by name and const at() only look
  EXPECT_TRUE(msg.at(0).isNull());
  EXPECT_EQ(ChildNames(msg), Names({u"Header", u"Body"}));
}

}  // namespace
