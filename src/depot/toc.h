// Records, and what their TOC files say.
#ifndef SPRIG_DEPOT_TOC_H
#define SPRIG_DEPOT_TOC_H

#include <sprig/depot.h>

#include "depot/toc_text.h"

namespace sprig {

// Whether a TOC file is that of an entry.
bool describes(const ReadContents &contents, std::string_view id, std::string_view version);

// Takes over every element that a TOC file has. What does not read, or finds no memory, stays as it
// was.
void reloadFromToc(DepotEntry &entry, const ReadContents &contents);

// DepotEntryNewFromToc(), of a text that has been read.
DepotEntry *newEntryFromToc(Depot *depot, const ReadContents &contents);

// Whether an entry's strings can stand in a TOC file without hiding any of its elements.
bool canBeWritten(const DepotEntry &entry);

} // namespace sprig

#endif
