// SPDX-License-Identifier: MIT
// Export macro of libqel: the library is built with hidden visibility, and
// only what is marked QEL_API is part of its binary interface.
#pragma once

#if defined(QEL_BUILDING_LIBRARY)
#define QEL_API __attribute__((visibility("default")))
#else
#define QEL_API __attribute__((visibility("default")))
#endif

// Templates whose explicit instantiations live in the library.
#define QEL_TEMPLATE_API __attribute__((visibility("default")))
