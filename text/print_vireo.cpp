// The VireoConfig dialect: business objects and their tasks, with the items
// themselves in Simple form.
#include "text/record_walk.h"
#include "zxvariant/printers.h"

namespace ZxVariantHelper {
namespace {

using detail::AppendRecordText;
using detail::AppendWord;
using detail::RecordNode;

constexpr std::uint32_t kItemIndentation = 4;
constexpr std::uint32_t kTaskItemIndentation = 8;

bool IsNamedList(const RecordNode& node) { return node.IsList() && node.HasName(); }

void WriteTask(AppendableWideString& out, const RecordNode& task) {
  AppendWord(out, u"<Task id=\"");
  AppendRecordText(out, task.Name());
  AppendWord(out, u"\">\n");
  std::uint32_t count = task.ElementCount();
  for (std::uint32_t i = 0; i < count; ++i) {
    detail::WriteSimple(out, task.Element(i), kTaskItemIndentation, false);
  }
  AppendWord(out, u"</Task>\n");
}

void WriteBusinessObject(AppendableWideString& out, const RecordNode& object) {
  AppendWord(out, u"<businessObject id=\"");
  AppendRecordText(out, object.Name());
  AppendWord(out, u"\" version=\"1.0\">\n");
  std::uint32_t count = object.ElementCount();
  for (std::uint32_t i = 0; i < count; ++i) {
    RecordNode item = object.Element(i);
    if (IsNamedList(item)) {
      WriteTask(out, item);
    } else {
      detail::WriteSimple(out, item, kItemIndentation, false);
    }
  }
  // No line break: the next business object follows on the same line, kept
  // on purpose for compatibility with every reader of the dialect.
  AppendWord(out, u"</businessObject>");
}

}  // namespace

char16_t* NewVireoConfig(const ZxVariant* record) {
  detail::PrintFrame frame;
  RecordNode root = RecordNode::Of(record);
  std::uint32_t count = root.ElementCount();
  for (std::uint32_t i = 0; i < count; ++i) {
    RecordNode object = root.Element(i);
    if (IsNamedList(object)) WriteBusinessObject(frame.Out(), object);
  }
  return frame.Finish();
}

}  // namespace ZxVariantHelper
