#include "inputs/InputFormat.h"

#include <fmt/format.h>

namespace client {

const char* Word(InputFormat format) {
  switch (format) {
    case InputFormat::Bin:
      return "bin";
    case InputFormat::Asc:
      return "asc";
    case InputFormat::Candump:
      return "log";
    case InputFormat::Csv:
      return "csv";
    case InputFormat::Mdf:
      return "mf4";
    case InputFormat::Pcap:
      return "pcap";
    case InputFormat::Pcapng:
      return "pcapng";
  }
  return "";
}

const char* NameOf(InputFormat format) {
  switch (format) {
    case InputFormat::Bin:
      return "raw records";
    case InputFormat::Asc:
      return "ASC log";
    case InputFormat::Candump:
      return "candump text";
    case InputFormat::Csv:
      return "CSV of LIN and FlexRay";
    case InputFormat::Mdf:
      return "measurement file (MDF)";
    case InputFormat::Pcap:
      return "pcap capture";
    case InputFormat::Pcapng:
      return "PCAPNG capture";
  }
  return "";
}

const char* PackingWord(const InputKind& kind) {
  switch (kind.Packing) {
    case Compression::Gzip:
      return "gzip";
    case Compression::Zstd:
      return "zstd";
    case Compression::None:
      break;
  }
  return nullptr;
}

std::string NameOf(const InputKind& kind) {
  const char* const packing = PackingWord(kind);
  return fmt::format("{}{}", NameOf(kind.Format), packing != nullptr ? fmt::format(", compressed by {}", packing) : "");
}

}  // namespace client
