// Compressed inputs of the client. What is packed must be read as if it weren't, in one stream or several; what is cut off or
// damaged ends with the records before that, and never in silence.
//
// Input: options, a place, contents. These are packed here, or taken as the compressed file itself.
#include <optional>

#include "Input.h"
#include "inputs/Inputs.h"
#include "support/TemporaryDirectory.h"
#include "system/Compressor.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace {

using client::Compression;
using fuzz::Require;
using test::Bytes;

constexpr size_t kMostUnpacked = 1u << 20;  // bytes; a few may stand for very many
constexpr const char* kNames[] = {"in.bin", "in.asc", "in.log", "in.csv"};

/// What reading a file comes to.
struct Outcome {
  std::vector<Bytes> Records;
  bool Refused = false;  // at some place
  bool Lossy = false;

  bool operator==(const Outcome&) const = default;
};

Outcome Read(const std::string& name) {
  client::Collector records;
  Outcome outcome;
  try {
    const auto reader = client::OpenInput(name);
    try {
      (void)client::ReadAll(*reader, records);
    } catch (const client::Failure& failure) {
      Require(*failure.what() != '\0', "a refusal says why");
      outcome.Refused = true;
    }
    Require(reader->Records() == records.Records.size(), "the reader counts its records");
    Require(reader->Position() <= reader->Size(), "no more is read than there is");
    outcome.Lossy = reader->Found().Lossy();
    if (outcome.Lossy) Require(!reader->Describe().Complete || !reader->Found().Empty(), "a loss is described");
  } catch (const client::Failure&) {
    outcome.Refused = true;
  }
  outcome.Records = records.Records;
  return outcome;
}

Outcome ReadBytes(const std::string& name, const Bytes& bytes) {
  test::WriteFile(name, bytes);
  return Read(name);
}

Bytes PackedBytes(Compression kind, const Bytes& bytes) {
  Bytes packed;
  const auto take = [&](const unsigned char* some, size_t size) {
    packed.insert(packed.end(), some, some + size);
    return true;
  };
  Require(client::MakeCompressor(kind)->Feed(bytes.data(), bytes.size(), client::Compressor::Until::End, take),
          "everything is taken");
  return packed;
}

struct Contents {
  Bytes All;
  bool Sound = false;  // the compressed bytes end where a stream does
};

/// What compressed bytes stand for, in one go; nothing if that is too much.
std::optional<Contents> UnpackedBytes(Compression kind, const Bytes& packed) {
  Contents contents{Bytes(kMostUnpacked)};
  const auto decompressor = client::MakeDecompressor(kind);
  size_t made = 0;
  for (size_t place = 0; place < packed.size();) {
    const auto step = decompressor->Next(packed.data() + place, packed.size() - place, contents.All.data() + made,
                                         kMostUnpacked - made);
    place += step.Taken;
    made += step.Made;
    contents.Sound = step.Between && !step.Damaged;
    if (made == kMostUnpacked) return std::nullopt;
    if (step.Damaged || (step.Taken == 0 && step.Made == 0)) break;
  }
  contents.All.resize(made);
  return contents;
}

/// Whether the same contents are the same input when they aren't packed.
bool IsInput(const Bytes& contents, const std::string& name) {
  if (contents.empty()) return false;
  if (client::CompressionOfBytes(contents, false) != Compression::None) return false;  // would be unpacked twice
  const std::span<const unsigned char> all = contents;
  return client::FormatOfInput(all.first(std::min(all.size(), client::kFront)), name) != client::InputFormat::Mdf;
}

bool IsRaw(const Bytes& contents, const std::string& name) {
  const std::span<const unsigned char> all = contents;
  return client::FormatOfInput(all.first(std::min(all.size(), client::kFront)), name) == client::InputFormat::Bin;
}

bool IsPrefix(const std::vector<Bytes>& some, const std::vector<Bytes>& all) {
  return some.size() <= all.size() && std::equal(some.begin(), some.end(), all.begin());
}

/// The input is the compressed file.
void CheckFile(Compression kind, const std::string& name, const std::string& packedName, const Bytes& packed) {
  if (client::CompressionOfBytes(packed, false) != kind) return;
  const auto contents = UnpackedBytes(kind, packed);
  if (!contents) return;
  const Outcome outcome = ReadBytes(packedName, packed);
  Require(Read(packedName) == outcome, "the same file reads the same");
  if (!contents->Sound) Require(outcome.Refused || outcome.Lossy, "damage is told");
  if (!IsInput(contents->All, name)) return;
  const Outcome plain = ReadBytes(name, contents->All);
  if (contents->Sound) Require(outcome == plain, "a sound file reads as if it weren't packed");
  if (IsRaw(contents->All, name)) Require(IsPrefix(outcome.Records, plain.Records), "records before damage come");
}

/// The input is what is packed: in one stream or two, whole and cut off at some place.
void CheckContents(Compression kind, const std::string& name, const std::string& packedName, const Bytes& contents,
                   bool two, unsigned int part) {
  if (!IsInput(contents, name)) return;
  const auto at = [part](size_t size) { return static_cast<std::ptrdiff_t>(size * part / 256); };
  const std::ptrdiff_t split = two ? at(contents.size()) : 0;
  Bytes packed = two ? PackedBytes(kind, {contents.begin(), contents.begin() + split}) : Bytes();
  const auto between = static_cast<std::ptrdiff_t>(packed.size());
  const Bytes rest = PackedBytes(kind, {contents.begin() + split, contents.end()});
  packed.insert(packed.end(), rest.begin(), rest.end());
  const Outcome plain = ReadBytes(name, contents);
  Require(ReadBytes(packedName, packed) == plain, "what is packed reads as if it weren't");

  const std::ptrdiff_t cut = at(packed.size());
  packed.resize(static_cast<size_t>(cut));
  if (cut == between || client::CompressionOfBytes(packed, false) != kind) return;
  const Outcome outcome = ReadBytes(packedName, packed);
  Require(outcome.Refused || outcome.Lossy, "a cut is told");
  if (IsRaw(contents, name)) Require(IsPrefix(outcome.Records, plain.Records), "records before a cut come");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  fuzz::Input input(data, size);
  const auto options = input.Take<std::uint8_t>();
  const auto part = input.Take<std::uint8_t>();
  const Compression kind = (options & 1) != 0 ? Compression::Zstd : Compression::Gzip;
  const std::string name = kNames[options >> 1 & 3];
  const std::string packedName = name + (kind == Compression::Gzip ? ".gz" : ".zst");
  const Bytes bytes = input.TakeBytes(input.Left());
  if ((options & 8) != 0)
    CheckFile(kind, name, packedName, bytes);
  else
    CheckContents(kind, name, packedName, bytes, (options & 16) != 0, part);
  return 0;
}
