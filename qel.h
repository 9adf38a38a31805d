// SPDX-License-Identifier: MIT
// The whole public interface of QEL, for hosts. Inside the library, include
// what you use instead.
#pragma once

#include "core/CExportData.h"
#include "core/CImportData.h"
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
#include "core/ISerialisable.h"
#include "formats/CQELParser.h"
#include "formats/IObjectCreator.h"
#include "platform/CFaultTranslator.h"
#include "platform/CQEL_Stream.h"
#include "platform/CThreadBasedClass.h"
#include "core/QEL_Version.h"
