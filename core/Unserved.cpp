// SPDX-License-Identifier: Apache-2.0
// The object of all that is not served.
#include "core/Objects.h"

QSC_DEFINE_OBJECT(kUnserved, .path = "")
