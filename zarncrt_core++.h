// Umbrella header of libzarncrt_core++: includes every public header.
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
