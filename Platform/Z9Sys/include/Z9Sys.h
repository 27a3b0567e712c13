/* libZ9Sys, the platform library: everything in one include. */
#ifndef Z9SYS_H
#define Z9SYS_H

#include "Z9BCDII.h"
#include "Z9Err.h"
#include "Z9Fmt.h"
#include "Z9Ini.h"
#include "Z9Log.h"
#include "Z9MQ.h"
#include "Z9Time.h"
#include "Z9Types.h"

#endif
