// ZxVariant: typed, optionally named value trees laid out in one relocatable
// block.  Including this header gives a caller the whole library.
//
//   record.h      the record layout, its two pointer forms, checks, type codes
//   builders.h    builder objects and ItemSpec tables that lay records out
//   views.h       null-free read access to records and builders
//   operations.h  copying, freeing, comparing and classifying records
//   path.h        paths of child indexes and names into a tree
//   node_tree.h   the editable, reference-counted node tree and its export
//   conversions.h plain values as records, nodes converted between types
//   basic_utils.h list utilities: editing and flattening loose records
//   property.h    property containers: a loose List record as an object tree
//   json.h        JSON text into records and records into JSON text
//   natural_xml.h NewNatural, records written as plain Natural XML
//   wide_string.h AppendableWideString, the growable UTF-16 text buffer
//   printers.h    records as text: debugging tree, Simple, Dom, Yam, VireoConfig,
//                 QvFramework
//   smart_wchar_ptr.h SmartWcharPtr, the owning wide-string argument type
//   events.h      security-event records (ZxVariantEventInfo) and event filters
//   message.h     AMessage, the header/body message, and its event conversions
//   zx_string.h   CZxString, CZxBufString, CZxFixedString: narrow text buffers
//   zx_exception.h CZxException and its kinds, thrown by the support classes
//   hex_text.h    byte buffers as hexadecimal UTF-16 text and back
//   registry.h    the registry store (keys, typed values) and records stored in it
//   wrappers.h    typed references, owning values and views over loose records
//   sync.h        lock objects: CSyncBase, CSyncCriticalSection, CSyncEvent, CSyncMutex
//   thread.h      Tavel::AThread, the base class of worker threads
#pragma once

#include "zxvariant/basic_utils.h"
#include "zxvariant/builders.h"
#include "zxvariant/conversions.h"
#include "zxvariant/events.h"
#include "zxvariant/hex_text.h"
#include "zxvariant/json.h"
#include "zxvariant/message.h"
#include "zxvariant/natural_xml.h"
#include "zxvariant/node_tree.h"
#include "zxvariant/operations.h"
#include "zxvariant/path.h"
#include "zxvariant/printers.h"
#include "zxvariant/property.h"
#include "zxvariant/record.h"
#include "zxvariant/registry.h"
#include "zxvariant/smart_wchar_ptr.h"
#include "zxvariant/sync.h"
#include "zxvariant/thread.h"
#include "zxvariant/views.h"
#include "zxvariant/wide_string.h"
#include "zxvariant/wrappers.h"
#include "zxvariant/zx_exception.h"
#include "zxvariant/zx_string.h"
