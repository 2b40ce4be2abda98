// Wrapper classes: typed, exception-reporting access to loose records.
//
// The list utilities (basic_utils.h) edit loose records through raw pointers
// and answer false or null.  These classes put a typed face on the same
// records and on the same utilities:
//   AZxvReference      edits one scalar record in place; owns nothing
//   AZxvListReference  edits one List record and its children in place
//   AZxVariant         owns one scalar record embedded in the object
//   AZxVariantList     owns one List record embedded in the object, and
//                      every record under it
//   AZxvariantName     reads a record's name
//   AZxVariantValue    reads a record's value, checking its type
//   AZxvPointer        allocates a fresh loose record for the caller, who
//   AZxvListPointer    owns it and frees it with releaseZxVariant
//   AutoPtr            frees a flat block when it goes out of scope
// The owning classes behave as references over their embedded record, so
// every reference operation is available on them.  Whenever an owning
// object is built or assigned by copying, its embedded record's size word is
// set to 0: the record is loose and must never pass for a flat block.
//
// Example:
//
//   using namespace ZxVariantHelper;
//   AZxVariantList config(u"config");
//   config.pushBack(AZxVariant(u"port", 8080));         // the list keeps a copy
//   AZxvListReference server = config(u"server");       // a new, empty List child
//   server.pushBack(AZxVariant(u"host", u"example.org"));
//   AZxvReference port = config[u"PORT"];               // names ignore case
//   port = 8443;                                        // edits the child in place
//   port.attribute(u"unit") = u"tcp";                   // found or added
//   int value = port.value().getInt();                  // 8443
//   AutoPtr block(BasicUtils::buildZxVariantForTransport(config, nullptr));
//
// Kept on purpose, as every caller has known them:
//   * indexing a scalar reference by a name names the record and returns it
//     (`ref[u"x"]` renames `ref`'s record);
//   * a lone string names an AZxVariant: AZxVariant(u"x") is a Null record
//     named "x", while AZxVariant(u"n", u"x") holds the text "x";
//   * count() of a list counts every record under it, at every depth;
//     size() counts its direct children;
//   * AZxVariantValue::compare answers 0 for a String without characters
//     against a null text, and -1 for one against any non-null text (the
//     empty text included) and for a String with characters against null;
//   * attribute(name) on a mutable reference writes the name into the found
//     attribute with copyZxVariantName, so a String (or Buffer) attribute
//     whose character (byte) count differs from the name's length loses its
//     characters; it is left an empty String (Buffer).  Read attributes
//     through a const reference (std::as_const) to leave them untouched;
//   * name matching ignores case (A-Z only) everywhere except
//     AZxvariantName's operator==, which is exact;
//   * compare and operator== of two scalar records use compareAZxVariant,
//     under which two records that both carry attributes never compare
//     equal; the same record always equals itself.
//
// Choices of this implementation:
//   * find and findList count only children of their kind: find(name, n) is
//     the n-th non-List child named `name`, findList(name, n) the n-th List
//     child so named.  at and atL count every child of that name and answer
//     a null reference when the n-th one is of the other kind.
//   * assignValue of a list replaces its children and keeps its own name and
//     attributes; assign of a list copies name, attributes and children, and
//     both refuse (false) a source that is not a List.
//   * AZxVariantValue's operator== for a Buffer compares byte count and bytes.
//   * The name view hands out const pointers; over a flat block they may be
//     unaligned (read them with memcpy, or through compare).
//   * Copying an AZxVariant (copy constructor, operator=, from an
//     AZxvReference) copies name, value and attributes; from a raw
//     ZxVariant pointer or reference, name and value only.  A List record
//     (which only a derived class keeps, see below) is copied deeply.
//   * Writing a value frees whatever the record held before, a Buffer's bytes
//     and a List's children included.  A Register value is copied as the
//     pointer-sized value it is.
//   * Wrapper strings may be UTF-8 (`const char*`) too: value setters and
//     AZxVariant's constructors take them beside the UTF-16 forms, where a
//     narrow literal would otherwise turn silently into a Bool.
//   * Copying or assigning a reference (or a pointer class) rebinds it; to
//     copy a record's contents use assign().  Assigning a reference or a
//     record to an owning object copies it.
//   * A null or empty name given to a constructor leaves the record
//     unnamed.  operator() and pushFront/pushBack(name) make an unnamed
//     child for the empty name and answer a null reference for a null one.
//   * A moved-from owning object is empty: AZxVariant a Null record (an empty
//     List if it held a List), AZxVariantList an empty unnamed List.
//   * list erase() frees the name, attributes and children and leaves an
//     unnamed empty List; a scalar erase() leaves an unnamed Null record.
//   * pushBack(name) is the counterpart of pushFront(name): a new Null child
//     named `name` at the end.
//
// Deriving: a class that keeps a List root (a message with a header and a
// body) derives from AZxVariant, builds its root with
// AZxVariant(name, ZxVariant::TypeCodes::List), reaches it as a list through
// the protected asList(), replaces it with copyRoot(), and hands out null
// references with AZxvReference::nullReference().  AZxVariant's copies,
// moves, comparison and destructor handle a List root deeply.  AZxVariant
// has no virtual destructor: a derived object that adds members must not be
// deleted through an AZxVariant pointer.
//
// Errors: std::logic_error with one of two texts: "Invalid type conversion
// attempt" for a record of the wrong kind (a scalar reference over a List, a
// value read as another type, a List attribute) and "Invalid parameter" for
// a null or unusable argument (a null string value, a null or List record
// given to AZxVariant, a non-List given to AZxVariantList, a value written
// through a null reference, a record copied into an AZxVariant whose
// attributes the list utilities cannot copy: a List, a Register).  An
// allocation failure where no result can report it throws std::bad_alloc
// ("bad allocation"); the one exception is the deep copy of a list
// (copyZxVariant), which cannot report memory running out part way and may
// then come out incomplete.  Lookups that find
// nothing answer a null reference (isNull() true) and never throw; mutating
// list operations report failure as false.  A refused argument leaves the
// records as they were, and no path, throwing or not, leaks or frees twice.
//
// Lifetimes: references and views never own; the record must outlive them.
// A list's children are separate heap records, every push and insert stores
// a fresh copy and nothing is reallocated in place, so a reference to a
// child stays valid across pushes and inserts; it dangles once that child is
// erased or popped, or the list is erased, re-assigned or destroyed.
//
// Thread safety: no shared state and no locks.  A record, everything under it
// and every wrapper over it are used by one thread at a time.
#pragma once

#include <cstddef>

#include "zxvariant/export.h"
#include "zxvariant/record.h"
#include "zxvariant/smart_wchar_ptr.h"

namespace ZxVariantHelper {

using zexora_com::endpoint::string_utils::SmartWcharPtr;

class AZxvReference;
class AZxvListReference;

// Read-only view of a record's name.
class ZXV_EXPORT AZxvariantName {
 public:
  explicit AZxvariantName(const ZxVariant* record) : m_record(record) {}

  // No record or no name.
  bool isNull() const;
  // isNull(), or a name of length 0.
  bool empty() const;
  unsigned int length() const;
  const char16_t* cStr() const;
  operator const char16_t*() const { return cStr(); }  // NOLINT: a name reads as its text
  operator const unsigned short*() const;              // NOLINT

  // -1, 0 or 1 as the name orders against `text`: ordinal when `exact`,
  // ignoring case (A-Z) otherwise.  A missing name and a null text both
  // count as the empty text.
  int compare(SmartWcharPtr text, bool exact) const;
  int compare(const char* utf8, bool exact) const;
  // Exact, case-sensitive equality.
  bool operator==(const char16_t* text) const;
  bool operator==(const unsigned short* text) const;
  bool operator==(const char* utf8) const;

 private:
  const ZxVariant* m_record;
};

// Read-only view of a record's value.  Every getter and conversion throws
// "Invalid type conversion attempt" when there is no record or its type is
// not the getter's.
class ZXV_EXPORT AZxVariantValue {
 public:
  explicit AZxVariantValue(const ZxVariant* record) : m_record(record) {}

  // Null when there is no record.
  ZxVariant::TypeCodes type() const;
  // No record, or a Null record.
  bool isNull() const;
  bool isBool() const;
  bool isRegister() const;
  bool isInt() const;
  bool isInt64() const;
  bool isFloat() const;
  bool isString() const;
  bool isBuffer() const;
  bool isList() const;

  bool getBool() const;
  int getInt() const;
  long long getInt64() const;
  double getFloat() const;
  void* getRegister() const;
  // A copy of the characters; a String without characters gives the empty
  // (not null) text.
  SmartWcharPtr getString() const;
  // The byte count and the record's own bytes (not copied).
  ZxVariant::Buffer getBuffer() const;
  AZxvListReference getList() const;

  operator bool() const { return getBool(); }             // NOLINT
  operator int() const { return getInt(); }               // NOLINT
  operator long long() const { return getInt64(); }       // NOLINT
  operator double() const { return getFloat(); }          // NOLINT
  operator void*() const { return getRegister(); }        // NOLINT
  operator SmartWcharPtr() const { return getString(); }  // NOLINT
  operator ZxVariant::Buffer() const { return getBuffer(); }  // NOLINT
  operator AZxvListReference() const;                     // NOLINT

  // Throws "Invalid type conversion attempt" unless the record is a String.
  // Without characters: 0 against a null text, -1 against any other.  With
  // characters: -1 against a null text; otherwise -1, 0 or 1, ordinal when
  // `exact`, ignoring case (A-Z) when not.
  int compare(SmartWcharPtr text, bool exact) const;
  int compare(const char* utf8, bool exact) const;

  // True when the record has the operand's type and an equal value; never
  // throws.  Texts compare exactly, as compare(text, true) == 0.
  bool operator==(bool value) const;
  bool operator==(int value) const;
  bool operator==(long long value) const;
  bool operator==(double value) const;
  bool operator==(const char16_t* text) const;
  bool operator==(const unsigned short* text) const;
  bool operator==(const char* utf8) const;
  bool operator==(const ZxVariant::Buffer& buffer) const;

 private:
  int compareText(const char16_t* text, std::size_t length, bool exact) const;

  const ZxVariant* m_record;
};

// A scalar reference: edits one non-List record in place.
class ZXV_EXPORT AZxvReference {
 public:
  // Throws "Invalid type conversion attempt" for a null record or a List.
  explicit AZxvReference(ZxVariant* record);

  // Replace the value (and the type code) with Bool, Int, Int64, Float or
  // String.  A null text throws "Invalid parameter"; the empty text gives a
  // String of length 0 without characters.  A null reference throws
  // "Invalid parameter".
  void value(bool value);
  void value(int value);
  void value(long long value);
  void value(double value);
  void value(const char16_t* text);
  void value(const unsigned short* text);
  void value(const char* utf8);
  void value(const ZxVariant*) = delete;  // would read as a Bool
  AZxvReference& operator=(bool value);
  AZxvReference& operator=(int value);
  AZxvReference& operator=(long long value);
  AZxvReference& operator=(double value);
  AZxvReference& operator=(const char16_t* text);
  AZxvReference& operator=(const unsigned short* text);
  AZxvReference& operator=(const char* utf8);
  AZxvReference& operator=(const ZxVariant*) = delete;  // would read as a Bool

  AZxVariantValue value() const;
  AZxvariantName name() const;
  // Renames the record; false for a null or empty name (or a null reference).
  bool name(SmartWcharPtr name);
  // Names the record `name` and returns a reference to the same record.
  AZxvReference operator[](SmartWcharPtr name);

  // Copy other's name and value (not its attributes).  False when both
  // refer to the same record, either is null, other holds a List, or an
  // allocation fails.
  bool assign(const AZxvReference& other);
  bool assignName(const AZxvReference& other);
  bool assignValue(const AZxvReference& other);

  // The attribute named `name` (ignoring case), added when missing; the
  // name is then written into it (see the rules above).  A null or empty
  // name gives a null reference; a List attribute throws "Invalid type
  // conversion attempt".
  AZxvReference attribute(SmartWcharPtr name);
  // Finds only.
  AZxvReference attribute(SmartWcharPtr name) const;
  // The attribute at `index`; a null reference when there is none.
  AZxvReference attribute(int index);
  AZxvReference attribute(int index) const;

  // Null for a null reference.
  ZxVariant::TypeCodes type() const;
  bool isNull() const { return m_record == nullptr; }
  // The same record: equal.  Two Lists: compareZxVariant, then their names;
  // otherwise compareAZxVariant.
  bool operator==(const AZxvReference& other) const { return compare(other) == 0; }
  int compare(const AZxvReference& other) const;
  // Frees the record's name, value and attributes: an unnamed Null record.
  void erase();
  operator ZxVariant*() const { return m_record; }  // NOLINT

 protected:
  AZxvReference() = default;
  // A reference to nothing, for classes that answer "not found".
  static AZxvReference nullReference() { return AZxvReference(); }

  ZxVariant* m_record = nullptr;

 private:
  friend class AZxvListReference;
};

// A list reference: edits one List record and its children in place.  Any
// record is accepted; operations that need a List fail (false, null) on
// other records.
class ZXV_EXPORT AZxvListReference {
 public:
  AZxvListReference() = default;
  // Throws "Invalid parameter" for a null record.
  explicit AZxvListReference(ZxVariant* record);

  // Append / prepend a copy of the element (name, value and attributes) or
  // a deep copy of the list; the argument stays the caller's.  False when
  // this record is not a List, the argument is null or a copy fails.
  bool pushBack(const AZxvReference& element);
  bool pushFront(const AZxvReference& element);
  bool pushBack(const AZxvListReference& list);
  bool pushFront(const AZxvListReference& list);
  // A new Null child named `name` at the end / at the front.
  AZxvReference pushBack(SmartWcharPtr name);
  AZxvReference pushFront(SmartWcharPtr name);
  // A new empty List child named `name` at the end.
  AZxvListReference operator()(SmartWcharPtr name);

  // A copy linked in front of the first child named `before`, or of the
  // child at position `before`.  False when there is no such child.
  bool insert(const AZxvReference& element, SmartWcharPtr before);
  bool insert(const AZxvListReference& list, SmartWcharPtr before);
  bool insert(const AZxvReference& element, int before);
  bool insert(const AZxvListReference& list, int before);

  // The child at `index` / the n-th child named `name`, when it is not a
  // List (at) or is one (atL); a null reference otherwise.
  AZxvReference at(int index) const;
  AZxvReference at(SmartWcharPtr name, unsigned int n = 0) const;
  AZxvListReference atL(int index) const;
  AZxvListReference atL(SmartWcharPtr name, unsigned int n = 0) const;
  // The n-th non-List / List child named `name`.
  AZxvReference find(SmartWcharPtr name, unsigned int n = 0) const;
  AZxvListReference findList(SmartWcharPtr name, unsigned int n = 0) const;
  // The n-th child equal to `like` under compareZxVariant.
  AZxvReference find(const AZxvReference& like, unsigned int n = 0) const;
  // find(name, 0).
  AZxvReference operator[](SmartWcharPtr name) const;

  // Delete (and free) the child at `index`, the first child named `name`,
  // or the n-th child equal to `like`.
  bool erase(int index);
  bool erase(SmartWcharPtr name);
  bool erase(const AZxvReference& like, unsigned int n = 0);
  // Frees name, attributes and children; a List stays an (unnamed) List.
  void erase();
  // Delete the first / last child; false when there is none.
  bool popFront();
  bool popBack();

  // Direct children: the count in the record, or the length of the chain
  // when the count is 0.  0 for a null reference or a non-List.
  int size() const;
  // Every record under the list, at every depth.
  int count() const;
  bool empty() const { return size() == 0; }
  bool isNull() const { return m_record == nullptr; }

  AZxvariantName name() const;
  bool name(SmartWcharPtr name);
  AZxvReference attribute(SmartWcharPtr name);
  AZxvReference attribute(SmartWcharPtr name) const;
  AZxvReference attribute(int index);
  AZxvReference attribute(int index) const;

  // Replace this record by a deep copy of other (name, attributes,
  // children), size word 0.  False when both are the same record, either is
  // null, other is not a List or the copy fails.
  bool assign(const AZxvListReference& other);
  // Replace only the children by deep copies of other's.  Both must be Lists.
  bool assignValue(const AZxvListReference& other);

  operator ZxVariant*() const { return m_record; }  // NOLINT

 protected:
  ZxVariant* m_record = nullptr;

 private:
  // The n-th child named `name` among the Lists (`lists`) or the others.
  ZxVariant* findNode(const char16_t* name, unsigned int n, bool lists) const;
};

// An owning scalar: one record embedded in the object.
class ZXV_EXPORT AZxVariant : public AZxvReference {
 public:
  // A Null record.
  AZxVariant();
  explicit AZxVariant(bool value);
  explicit AZxVariant(int value);
  explicit AZxVariant(long long value);
  explicit AZxVariant(double value);
  // A Null record named `name`: a lone string names the record.
  explicit AZxVariant(const char16_t* name);
  explicit AZxVariant(const unsigned short* name);
  explicit AZxVariant(const char* utf8Name);
  AZxVariant(SmartWcharPtr name, bool value);
  AZxVariant(SmartWcharPtr name, int value);
  AZxVariant(SmartWcharPtr name, long long value);
  AZxVariant(SmartWcharPtr name, double value);
  // A null text throws "Invalid parameter".
  AZxVariant(SmartWcharPtr name, const char16_t* text);
  AZxVariant(SmartWcharPtr name, const unsigned short* text);
  AZxVariant(SmartWcharPtr name, const char* utf8Text);
  // An empty record of that type; a code above 8 throws "Invalid parameter".
  explicit AZxVariant(ZxVariant::TypeCodes type);
  AZxVariant(SmartWcharPtr name, ZxVariant::TypeCodes type);
  // Name and value of `record`; a null record, a List or an unknown type
  // code throws "Invalid parameter".
  explicit AZxVariant(const ZxVariant* record);
  explicit AZxVariant(const ZxVariant& record);
  // Name, value and attributes of the referenced record; a null reference
  // throws "Invalid parameter".
  explicit AZxVariant(const AZxvReference& reference);
  AZxVariant(const AZxVariant& other);
  AZxVariant(AZxVariant&& other) noexcept;
  ~AZxVariant();

  AZxVariant& operator=(const AZxVariant& other);
  AZxVariant& operator=(AZxVariant&& other);
  // Copies, as the matching constructors do (never rebinds).
  AZxVariant& operator=(const AZxvReference& reference);
  AZxVariant& operator=(const ZxVariant* record);
  // Replace the value, keeping the name.
  AZxVariant& operator=(bool value);
  AZxVariant& operator=(int value);
  AZxVariant& operator=(long long value);
  AZxVariant& operator=(double value);
  AZxVariant& operator=(const char16_t* text);
  AZxVariant& operator=(const unsigned short* text);
  AZxVariant& operator=(const char* utf8);

 protected:
  // The embedded record seen as a list (for a derived class's List root).
  AZxvListReference asList() const { return AZxvListReference(m_record); }
  // Replaces the embedded record by a copy of any record, a List deeply.
  // Throws "Invalid parameter" for a null record or an unknown type code.
  void copyRoot(const ZxVariant* record);

 private:
  void copyFrom(const ZxVariant* source, bool withAttributes);

  alignas(8) ZxVariant m_root;
};

// An owning list: one List record embedded in the object, and every record
// under it.
class ZXV_EXPORT AZxVariantList : public AZxvListReference {
 public:
  AZxVariantList();
  explicit AZxVariantList(SmartWcharPtr name);
  // A deep copy; anything but a non-null List throws "Invalid parameter".
  explicit AZxVariantList(const ZxVariant* record);
  AZxVariantList(const AZxVariantList& other);
  AZxVariantList(AZxVariantList&& other) noexcept;
  ~AZxVariantList();

  // Deep copies, with the constructor's check.
  AZxVariantList& operator=(const ZxVariant* record);
  AZxVariantList& operator=(const AZxvListReference& list);
  AZxVariantList& operator=(const AZxVariantList& other);
  AZxVariantList& operator=(AZxVariantList&& other);

  // Equal names (ignoring case) and compareZxVariant equal.
  bool operator==(const AZxVariantList& other) const;

 private:
  void copyFrom(const ZxVariant* record);

  alignas(8) ZxVariant m_root;
};

// Allocates a zeroed loose record, stores it in `out` and refers to it.  The
// record is the caller's: free it with BasicUtils::releaseZxVariant.  The old
// value of `out` is overwritten, not freed.  Throws std::bad_alloc when the
// record cannot be allocated (`out` is then null).
class ZXV_EXPORT AZxvPointer : public AZxvReference {
 public:
  explicit AZxvPointer(ZxVariant*& out);
  using AZxvReference::operator=;
};

// The same, with the record's type set to List.
class ZXV_EXPORT AZxvListPointer : public AZxvListReference {
 public:
  explicit AZxvListPointer(ZxVariant*& out);
};

// Owns a flat block and frees it with free(); movable, not copyable.
class ZXV_EXPORT AutoPtr {
 public:
  explicit AutoPtr(ZxVariant* block = nullptr) noexcept : m_block(block) {}
  AutoPtr(const AutoPtr&) = delete;
  AutoPtr& operator=(const AutoPtr&) = delete;
  AutoPtr(AutoPtr&& other) noexcept : m_block(other.release()) {}
  AutoPtr& operator=(AutoPtr&& other) noexcept;
  ~AutoPtr();

  operator ZxVariant*() const noexcept { return m_block; }  // NOLINT
  // Gives the block up without freeing it.
  ZxVariant* release() noexcept;

 private:
  ZxVariant* m_block;
};

}  // namespace ZxVariantHelper
