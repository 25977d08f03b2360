/**
 * @file
 * @brief The library for C++: owners that release themselves, and failures as C++ exceptions.
 *
 * C++17, and nothing but headers. Call sprig_init() first. What fails throws sprig::Error, in the
 * depot sprig::DepotError; an argument that the C functions could not take as it is (text with a
 * NUL inside, a length of 2 GiB) is refused before they are called, with std::invalid_argument or
 * std::length_error.
 *
 * Some names are those of the C headers, too: name what is in here with its namespace.
 * `docs/guide/properties.md`, `docs/guide/depot.md`, `docs/guide/receiving.md` and
 * `docs/guide/sending.md` have examples.
 */
#ifndef SPRIG_SPRIG_HPP
#define SPRIG_SPRIG_HPP

#include <sprig/detail/depot.hpp>
#include <sprig/detail/error.hpp>
#include <sprig/detail/file.hpp>
#include <sprig/detail/property_list.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/segment.hpp>
#include <sprig/detail/status.hpp>
#include <sprig/detail/stream.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/detail/value.hpp>

#endif
