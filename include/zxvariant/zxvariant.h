// ZxVariant: typed, optionally named value trees laid out in one relocatable
// block.  Including this header gives a caller the whole library.
//
//   record.h      the record layout, its two pointer forms, checks, type codes
//   builders.h    builder objects and ItemSpec tables that lay records out
//   views.h       null-free read access to records and builders
//   operations.h  copying, freeing, comparing and classifying records
#pragma once

#include "zxvariant/builders.h"
#include "zxvariant/operations.h"
#include "zxvariant/record.h"
#include "zxvariant/views.h"
