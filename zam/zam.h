// Includes every public header of the library.
#ifndef ZAM_ZAM_H
#define ZAM_ZAM_H

#include "zam/foundation/export.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/types.h"

#endif
