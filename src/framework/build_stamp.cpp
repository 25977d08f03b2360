#include <sprig/types.h>

const char *nexver_get_level_name() { return "$BLD: sprig-" SPRIG_VERSION " 4.3.1 $"; }

const char *nexver_get_bld_date() { return "$BLD: BLD_DATE_" __DATE__ " " __TIME__ " $"; }
