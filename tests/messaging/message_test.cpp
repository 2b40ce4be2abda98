// AMessage: construction, the Header and the Body, indexing, finding, copying.
#include <utility>

#include "messaging/message_testing.h"

namespace {

using namespace zxt;

std::u16string TextOf(const AZxvReference& r) { return r.value().getString().get(); }
int IntOf(const AZxvReference& r) { return r.value().getInt(); }

// Header {Name, Severity}; Body {b0 .. b4} holding 0 .. 4.
AMessage TwoAndFive() {
  AMessage msg(u"topic", u"", 2);
  for (char16_t i = 0; i < 5; ++i) {
    msg.addData(AZxVariant(std::u16string{u'b', char16_t(u'0' + i)}, int{i}));
  }
  return msg;
}

TEST(MessageHeaderKeys, BisectionMissesProcessNameAndTimestamp) {
  const Names table = {
      u"AuthenticationCode", u"ClientID", u"Cookie", u"CorellationID", u"Description",
      u"Destination", u"Flags", u"Formatting", u"HeaderVersion", u"ID", u"Integrity",
      u"Localization", u"Mapfile", u"ProcessName", u"MsgErrorCode", u"MsgSystemID", u"Name",
      u"NameAlias", u"Origin", u"Priority", u"ProcessID", u"Resource", u"SequenceNumber",
      u"SessionID", u"Severity", u"SoftwareID", u"SourceEXE", u"SupplierList", u"Tag",
      u"Tag-DEPRECATED_DO_NOT_USE", u"ThreadID", u"Timestamp", u"TimeToLive", u"Topic",
      u"TransErrorCode"};
  for (std::size_t i = 0; i < table.size(); ++i) {
    bool missed = table[i] == u"ProcessName" || table[i] == u"Timestamp";
    EXPECT_EQ(AMessage::isHeaderKey(table[i].c_str()), !missed) << "entry " << i;
  }
  for (const char16_t* other : {u"topic", u"Top", u"Topics", u"", u"A", u"Zulu", u"Tag-",
                                static_cast<const char16_t*>(nullptr)}) {
    EXPECT_FALSE(AMessage::isHeaderKey(other));
  }
}

TEST(MessageConstruction, NameSeverityAndRecordConstructors) {
  AMessage msg(u"Scan.Done", u"stored nowhere", 7);
  EXPECT_EQ(NameOf(msg), u"Message");
  EXPECT_EQ(ChildNames(msg), Names({u"Header"}));
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"Severity"}));
  EXPECT_EQ(TextOf(msg.at(u"Name")), u"Scan.Done");
  EXPECT_EQ(IntOf(msg.at(u"Severity")), 7);
  EXPECT_EQ(ChildNames(AMessage(u"").header()), Names({u"Name"}));

  Owned<ZxvList> root(NewList(u"Anything"));
  root->Append(NewString(u"Body", u"not a list", 0));
  ZxvList* header = NewList(u"header");  // names ignore case
  header->Append(NewInt(u"ID", 5));
  root->Append(header);
  Block flat = Lay(*root);
  AMessage copied(flat.get());
  EXPECT_EQ(NameOf(copied), u"Message");
  EXPECT_EQ(IntOf(copied.at(u"id")), 5);
  EXPECT_TRUE(std::as_const(copied).body().isNull());  // the String "Body" does not count
  copied.body();
  EXPECT_EQ(ChildNames(copied), Names({u"Body", u"header", u"Body"}));
  EXPECT_TRUE(AMessage(static_cast<const ZxVariant*>(copied)) == copied);  // from a loose record

  Block headless = Lay(NewList(u"Message"));
  Block text = Lay(NewString(u"Message", u"x", 0));
  for (const ZxVariant* bad : {headless.get(), text.get(), static_cast<ZxVariant*>(nullptr)}) {
    ExpectLogicError([&] { AMessage m(bad); }, kParameter);
  }
  ExpectLogicError([] { AMessage m(SmartWcharPtr(nullptr)); }, kParameter);
  ExpectLogicError([] { AMessage m(nullptr, u"x", 1); }, kParameter);
  ExpectLogicError([] { AMessage m(u"x", nullptr, 1); }, kParameter);
}

TEST(MessageCopy, DeepCopiesSelfAssignmentMovesAndClear) {
  AMessage original = TwoAndFive();
  AMessage copy(original);
  copy.at(u"b1") = 100;
  copy.addTag(u"Notification");
  EXPECT_EQ(IntOf(original.at(u"b1")), 1);
  EXPECT_TRUE(std::as_const(original).header().findList(u"Tag").isNull());
  AMessage assigned(u"other");
  assigned = copy;
  AMessage& self = assigned;
  assigned = self;
  EXPECT_TRUE(assigned == copy);
  EXPECT_FALSE(assigned == original);

  AMessage moved(std::move(assigned));
  EXPECT_TRUE(moved == copy);
  EXPECT_EQ(NameOf(assigned), u"Message");  // left as clear() leaves a message
  EXPECT_TRUE(ChildNames(assigned).empty());
  copy.clear();
  EXPECT_EQ(NameOf(copy), u"Message");
  EXPECT_TRUE(ChildNames(copy).empty());
}

TEST(MessageParts, PartsAreMadeOnDemandAndOperatorBracketAlwaysAppends) {
  AMessage msg(u"n");
  EXPECT_TRUE(std::as_const(msg).body().isNull());
  ExpectLogicError([&] { msg.addTag(nullptr); }, kParameter);
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name"}));  // no tag list was made
  msg.addTag(u"SecurityEvent");
  msg.addTag(u"Notification");
  EXPECT_EQ(ChildNames(msg.getTags()), Names({u"Tag", u"Tag"}));
  EXPECT_EQ(TextOf(msg.getTags().at(1)), u"Notification");

  for (const char16_t* name :
       {u"Severity", u"Topic", u"Topic", u"Custom", u"ProcessName", u"Timestamp", u"topic"}) {
    msg[name] = name;
  }
  EXPECT_EQ(ChildNames(msg), Names({u"Header", u"Body"}));
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"Tag", u"Severity", u"Topic", u"Topic"}));
  EXPECT_EQ(ChildNames(msg.body()), Names({u"Custom", u"ProcessName", u"Timestamp", u"topic"}));
  EXPECT_EQ(msg[u"Fresh"].type(), T::Null);
  EXPECT_TRUE(msg[nullptr].isNull());
}

TEST(MessageIndex, AtTakesTheHeaderFirstWithTheSameIndexForTheBody) {
  AMessage msg = TwoAndFive();
  EXPECT_EQ(IntOf(msg.at(3)), 3);  // Body item 3, not Body item 1
  EXPECT_EQ(IntOf(msg.at(1)), 2);  // Header item 1: Severity
  EXPECT_TRUE(msg.at(5).isNull());
  EXPECT_TRUE(msg.at(-1).isNull());
  msg.addTag(u"x");  // Header item 2 is now the tag List
  EXPECT_TRUE(std::as_const(msg).at(2).isNull());
  msg[u"b2"] = u"second";
  msg[u"Topic"] = u"in the header";
  msg.addData(AZxVariant(u"Topic", u"in the body"));
  EXPECT_EQ(IntOf(msg.at(u"B2")), 2);
  EXPECT_EQ(TextOf(std::as_const(msg).at(u"topic")), u"in the header");
  EXPECT_TRUE(msg.at(u"Tag").isNull());  // a List is never handed out

  msg.clear();
  EXPECT_TRUE(std::as_const(msg).at(0).isNull());
  EXPECT_TRUE(msg.at(u"Name").isNull());
  EXPECT_TRUE(ChildNames(msg).empty());  // lookups by name and const at() only look
  EXPECT_TRUE(msg.at(0).isNull());
  EXPECT_EQ(ChildNames(msg), Names({u"Header", u"Body"}));
}

TEST(MessageFind, CodesAndCopiedValues) {
  AMessage msg(u"n");
  msg[u"ID"] = 12;
  msg.addData(AZxVariant(u"Id", u"body text"));
  msg.addData(AZxVariant(u"Count", 9LL));
  AZxVariant text(u"id", u""), number(u"ID", 0), count(u"count", 0LL), missing(u"x", 0), unnamed(5);
  EXPECT_EQ(msg.find(text), -2);  // the Header's Int; the Body is not asked
  EXPECT_EQ(msg.findData(text), 0);
  EXPECT_EQ(TextOf(text), u"body text");
  EXPECT_EQ(NameOf(text), u"Id");  // the found item's name
  EXPECT_EQ(msg.findHeaderData(number), 0);
  EXPECT_EQ(IntOf(number), 12);
  EXPECT_EQ(msg.findHeaderData(count), -1);
  EXPECT_EQ(msg.find(count), 0);
  EXPECT_EQ(count.value().getInt64(), 9);
  EXPECT_EQ(msg.find(missing), -1);
  EXPECT_EQ(msg.find(unnamed), -3);
  AZxVariant nullTyped(u"ID");
  EXPECT_EQ(msg.findHeaderData(nullTyped), -2);
  msg.clear();
  EXPECT_EQ(msg.findData(number), -1);
  EXPECT_TRUE(ChildNames(msg).empty());
}

TEST(MessageAdd, AppendOrReplaceHeaderAndBodyData) {
  AMessage msg(u"n");
  AZxVariantList extra(u"Extra");
  extra.pushBack(AZxVariant(u"a", 1));
  extra.pushBack(AZxVariant(u"b", 2));
  EXPECT_EQ(msg.addHeaderData(extra, false), 0);
  EXPECT_EQ(msg.addHeaderData(AZxVariant(u"Flags", 4)), 0);
  EXPECT_EQ(ChildNames(msg.header()), Names({u"Name", u"Extra", u"Flags"}));
  EXPECT_EQ(ChildNames(msg.header().findList(u"Extra")), Names({u"a", u"b"}));
  EXPECT_EQ(msg.addHeaderData(extra, true), 0);  // the children are replaced, the name stays
  EXPECT_EQ(NameOf(msg.header()), u"Header");
  EXPECT_EQ(ChildNames(msg.header()), Names({u"a", u"b"}));

  EXPECT_EQ(msg.addData(AZxVariant(u"x", 1.5)), 0);
  EXPECT_EQ(msg.addData(extra, false), 0);
  EXPECT_EQ(ChildNames(msg.body()), Names({u"x", u"Extra"}));
  EXPECT_EQ(msg.addData(AZxVariantList(u"ignored"), true), 0);
  EXPECT_TRUE(msg.body().empty());
}

}  // namespace
