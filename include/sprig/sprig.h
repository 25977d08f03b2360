/**
 * @file
 * @brief All headers of the library at once.
 */
#ifndef SPRIG_SPRIG_H
#define SPRIG_SPRIG_H

#include <sprig/encoding.h>
#include <sprig/pal.h>

#endif
