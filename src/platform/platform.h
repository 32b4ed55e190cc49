// Everything the platform layer offers: the Windows kernel, GDI and USER
// stand-ins and the class library's classes the interface speaks in.
#pragma once

#include "platform/archive.h"
#include "platform/cdc.h"
#include "platform/containers.h"
#include "platform/cstring.h"
#include "platform/export.h"
#include "platform/file.h"
#include "platform/gdi.h"
#include "platform/global_memory.h"
#include "platform/messages.h"
#include "platform/object.h"
#include "platform/rect.h"
#include "platform/system.h"
#include "platform/user.h"
#include "platform/windows_types.h"
