// The runtime's own types.
#ifndef SPRIG_RUNTIME_VALUES_TYPES_H
#define SPRIG_RUNTIME_VALUES_TYPES_H

#include <sprig/framework.h>

namespace sprig::runtime {

// Of MessageEntry and ExErrorMsg.
extern const TypeCodeRecord TC_NEX_Types_MessageEntry[1];
extern const TypeCodeRecord TC_ExErrorMsg[1];

} // namespace sprig::runtime

#endif
