#include "depot/key_file.h"

PalError sprig::createKeyFile(const char *path) {
  PalFileHandle file{};
  const PalError opened = PalFileOpen(&file, path, PAL_FILE_CREATE | PAL_FILE_READWRITE);
  PalFileClose(file);
  return opened;
}
