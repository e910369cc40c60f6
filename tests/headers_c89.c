/* SPDX-License-Identifier: Apache-2.0 */
/* Compiles only while every public header is plain C. */
#include "bacl.h"
#include "bacl_link_list.h"
#include "qrnuci.h"
#include "qsc_handlers.h"
#include "qsc_stats.h"
#include "qsc_types.h"
#include "qslog.h"
#include "qsyscmdhal.h"

/* Declarations alone would let a header lose what they promise about types. */
Qsc_Handler headers_c89_handler = QSysCmdHal_Do_Version;
const Qsc_ParamEntry* headers_c89_table = g_QscVersionCmd;
