/**
 * @file
 * @brief The library for C++: owners that release themselves, and failures as C++ exceptions.
 *
 * C++17, and nothing but headers. Call sprig_init() first. What fails throws sprig::Error; an
 * argument that the C functions could not take as it is (text with a NUL inside, a length of 2 GiB)
 * is refused before they are called, with std::invalid_argument or std::length_error.
 *
 * Some names are those of the C headers, too: name what is in here with its namespace.
 * `docs/guide/properties.md` has examples.
 */
#ifndef SPRIG_SPRIG_HPP
#define SPRIG_SPRIG_HPP

#include <sprig/detail/error.hpp>
#include <sprig/detail/file.hpp>
#include <sprig/detail/property_list.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/detail/value.hpp>

#endif
