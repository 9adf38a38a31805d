// SPDX-License-Identifier: MIT
// The whole public interface of QEL, for hosts. Inside the library, include
// what you use instead.
#pragma once

#include "core/CCache_Flag.h"
#include "core/CCollection.h"
#include "core/CCollection_CachedData.h"
#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CDataManager.h"
#include "core/CQEL_Allocate.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Event.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Handler_Entity.h"
#include "core/CQEL_MD5.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Ptr_Array.h"
#include "core/CQEL_String.h"
#include "core/CQEL_Timer.h"
#include "core/ICachedObject.h"
#include "core/ICollection.h"
#include "platform/CFaultTranslator.h"
#include "platform/CQEL_Stream.h"
#include "platform/CThreadBasedClass.h"
#include "core/QEL_Version.h"
