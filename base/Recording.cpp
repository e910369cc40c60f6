// SPDX-License-Identifier: Apache-2.0
#include "base/Recording.h"

constinit thread_local qsc::Recording* qsc::t_recording = nullptr;
