// Lists in files.
#ifndef SPRIG_PROPERTIES_FILES_H
#define SPRIG_PROPERTIES_FILES_H

#include <sprig/files.h>
#include <sprig/types.h>

namespace sprig {

// Writes the encoding of a list to an open file, with nothing in front.
void writeEncoded(const Properties *list, File *file);

} // namespace sprig

#endif
