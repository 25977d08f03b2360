// Access-control lists, which this system's files are not governed by.
#include <sprig/pal.h>

namespace {

constexpr PalError notSupported{PAL_NOT_SUPPORTED, 0, 0};
constexpr int byPermissionBits = 2;

} // namespace

PalError PalFileGrantPermission(const char * /*user*/, uint32_t /*permission*/,
                                const char * /*path*/) {
  return notSupported;
}

PalError PalFileRevokePermission(const char * /*user*/, uint32_t /*permission*/,
                                 const char * /*path*/) {
  return notSupported;
}

PalError PalFileGetAcl(PalFileAclEntryT * /*acl*/, const char * /*path*/, int32_t * /*count*/) {
  return notSupported;
}

PalError PalFileSetAcl(const PalFileAclEntryT * /*acl*/, const char * /*path*/, int32_t /*count*/) {
  return notSupported;
}

int PalFileAccessType(const char * /*path*/) { return byPermissionBits; }
