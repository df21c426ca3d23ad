// A file that is being written, for those who put it on the disk.
#pragma once

#include <future>
#include <memory>
#include <string>

#include "system/Descriptor.h"

namespace client {

/// What has been written to it by now is to be on the disk.
struct WrittenFile {
  std::shared_ptr<const Descriptor> File;  // stays open as long as somebody has it
  std::string Folder;                      // that its name is in
  std::shared_future<void> HandedOver;  // ready once the bytes are with the system; without a state: they are already
};

}  // namespace client
