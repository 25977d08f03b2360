#include "exceptions/exhaustion.h"

#include "exceptions/frame.h"
#include "exceptions/uncaught.h"

using namespace sprig::runtime;

namespace {

char typeName[] = "ExNoMemory";
char text[] = "There is not enough memory.\n";
char wholeMessage[] = "%7$M";
MessageEntry entry{nullptr, text, 0, {nullptr, nullptr}};
ExErrorMsg record{typeName, nullptr, 0, wholeMessage, 0, {0, 0, nullptr}, {1, 1, &entry}};

} // namespace

ExErrorMsg *sprig::runtime::noMemoryRecord() { return &record; }

void sprig::runtime::throwNoMemory() { throwRecord(&record); }
