// Umbrella header of libzarncrt_core++: includes every public header.
#ifndef ZARNCRT_CORE_PLUS_PLUS_H
#define ZARNCRT_CORE_PLUS_PLUS_H

#include "core/QorCore.h"
#include "text/CStringBuffer.h"
#include "containers/QorPtrList.h"
#include "containers/Stacks.h"
#include "containers/QorStringMap.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusCursor.h"
#include "log/IQorLogger.h"
#include "log/QorFileLogger.h"

#endif
