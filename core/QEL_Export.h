// SPDX-License-Identifier: MIT
// The export macro lives on the platform floor, which every room may include;
// this header keeps the name that hosts and the rooms above include.
#pragma once

#include "platform/QEL_Export.h"
