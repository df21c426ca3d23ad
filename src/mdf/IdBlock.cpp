#include "mdf/IdBlock.h"

#include <algorithm>
#include <cstring>

namespace MDF {
namespace {

constexpr char kUnfinalized[] = "UnFinMF ";
constexpr char kFinalized[] = "MDF     ";
constexpr char kFormat[] = "4.10    ";
constexpr uint16_t kVersion = 410;
static_assert(sizeof kUnfinalized == 9 && sizeof kFinalized == 9 && sizeof kFormat == 9);

void Return(FileStream& stream, FileStream::pos_type position) {
  if (position > FileStream::pos_type(0)) stream.seekp(position);
}

}  // namespace

IDBLOCK::IDBLOCK(const std::string& programId) {
  std::memcpy(Data.FileId, kUnfinalized, sizeof Data.FileId);
  std::memcpy(Data.FormatId, kFormat, sizeof Data.FormatId);
  std::memcpy(Data.ProgramId, programId.c_str(), std::min(programId.size() + 1, sizeof Data.ProgramId));
  Data.Version = kVersion;
}

unsigned int IDBLOCK::Block_Length() const { return sizeof(IdData); }

void IDBLOCK::UnfinFlags(UnfinalizedFlags::unfinFlags_t flags) {
  Data.UnfinStandard = flags;
  Changed = true;
}

void IDBLOCK::UnfinFlags_Custom(unsigned short flags) {
  Data.UnfinCustom = flags;
  Changed = true;
}

void IDBLOCK::Block_Reset() {
  UnfinFlags(UnfinalizedFlags::None);
  UnfinFlags_Custom(0);
}

bool IDBLOCK::Write(FileStream& stream) {
  if (!stream.is_open()) return false;
  if (!Changed) return stream.good();
  const auto position = stream.tellp();
  stream.seekp(0);
  Put(stream, Data);
  Return(stream, position);
  Changed = !stream.good();
  return !Changed;
}

bool IDBLOCK::Finalize(FileStream& stream) {
  if (!Write(stream) || Data.UnfinStandard != 0 || Data.UnfinCustom != 0) return false;
  const auto position = stream.tellp();
  stream.seekp(0);
  PutBytes(stream, kFinalized, sizeof Data.FileId);
  Return(stream, position);
  return stream.good();
}

}  // namespace MDF
