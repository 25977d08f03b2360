/**
 * @file
 * @brief All headers of the library at once.
 */
#ifndef SPRIG_SPRIG_H
#define SPRIG_SPRIG_H

#include <sprig/depot.h>
#include <sprig/encoding.h>
#include <sprig/exceptions.h>
#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/pal.h>
#include <sprig/properties.h>
#include <sprig/records.h>
#include <sprig/streams.h>
#include <sprig/types.h>

#endif
