/// \file
/// Umbrella header of libzarncrt_core++: includes every public header. Each
/// of them states at its top who owns what, which operations invalidate
/// pointers, what is not O(1) and how far its classes may be shared between
/// threads.
#ifndef ZARNCRT_CORE_PLUS_PLUS_H
#define ZARNCRT_CORE_PLUS_PLUS_H

// In layering order: each family uses only the ones above it.
#include "core/QorCore.h"

#include "text/CStringBuffer.h"

#include "containers/QorPtrList.h"
#include "containers/QorStringMap.h"
#include "containers/Stacks.h"

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusCursor.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

#include "log/IQorLogger.h"
#include "log/QorFileLogger.h"

#endif
