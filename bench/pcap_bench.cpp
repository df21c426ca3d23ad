// PCAPNG: entries in memory to a file, by the library's export and by the client's writer.
//
// The bound is copying the bytes of that file, 256 KiB at a time, into a buffer and writing it with write(2).
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <vector>

#include "Measure.h"
#include "export/Qor_Trace_Export_PCAP.h"
#include "outputs/PcapngWriter.h"
#include "qor_api.h"

namespace {

constexpr size_t kPiece = size_t{256} * 1024;

std::filesystem::path FileInMemory() {
  const std::filesystem::path memory = "/dev/shm";
  const auto folder = std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
  return folder / ("qor-bench-" + std::to_string(getpid()) + ".pcapng");
}

std::shared_ptr<Qor_Trace_Entry> Frame(unsigned int channel, unsigned long time, size_t size) {
  std::vector<unsigned char> item(16 + size, static_cast<unsigned char>(time));
  Qor_Trace_Entry_Ethernet_t head{};
  head.ItemSize = static_cast<unsigned short>(item.size());
  head.ItemType = QOR_TRACE_ETHERNET_FRAME;
  head.ItemTimestamp = time;
  head.FrameLength = static_cast<unsigned short>(size);
  std::memcpy(item.data(), &head, 16);
  return std::make_shared<Qor_Trace_Entry>(channel,
                                           reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(item.data()));
}

/// About `bytes` of frames on two channels, of sizes evenly spread from `shortest` to `longest`.
Qor_Trace_EntryStore Frames(size_t bytes, size_t shortest, size_t longest) {
  std::minstd_rand random(42);
  std::uniform_int_distribution<size_t> size(shortest, longest);
  Qor_Trace_EntryStore store;
  for (size_t done = 0; done < bytes;) {
    const size_t frame = size(random);
    store.push_back(Frame(1 + static_cast<unsigned int>(random() / 16 % 2), 1000 * store.size(), frame));
    done += frame;
  }
  return store;
}

double Export(const std::filesystem::path& path, const Qor_Trace_EntryStore& entries) {
  return bench::Cost([&] { Qor_Trace_Export_PCAP(0, path.c_str(), 0).Export(entries); });
}

double Write(const std::filesystem::path& path, const Qor_Trace_EntryStore& entries) {
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    client::DescriptorSink sink(file);
    client::PcapngWriter writer(sink);
    for (const Qor_Trace_Entry_t& entry : entries) writer.Take(entry);
    if (!writer.Finish()) std::abort();
    close(file);
  });
}

double CopyAndWrite(const std::filesystem::path& path, const std::vector<unsigned char>& bytes,
                    std::vector<unsigned char>& piece) {
  return bench::Cost([&] {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    for (size_t place = 0; place < bytes.size(); place += kPiece) {
      const size_t size = std::min(kPiece, bytes.size() - place);
      std::memcpy(piece.data(), bytes.data() + place, size);
      if (write(file, piece.data(), size) != static_cast<ssize_t>(size)) std::abort();
    }
    close(file);
  });
}

std::vector<unsigned char> ReadWhole(const std::filesystem::path& path) {
  std::vector<unsigned char> bytes(std::filesystem::file_size(path));
  const int file = open(path.c_str(), O_RDONLY);
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t part = read(file, bytes.data() + done, bytes.size() - done);
    if (part <= 0) std::abort();
    done += static_cast<size_t>(part);
  }
  close(file);
  return bytes;
}

using Work = double (*)(const std::filesystem::path&, const Qor_Trace_EntryStore&);

bench::Row Measure(const std::string& name, int rounds, const Qor_Trace_EntryStore& entries, Work work) {
  const auto path = FileInMemory();
  work(path, entries);
  const auto written = ReadWhole(path);
  std::vector<unsigned char> piece(kPiece);
  const auto row = bench::Compare(
      name, rounds, static_cast<double>(written.size()) / 1024, "KiB", [&] { return work(path, entries); },
      [&] { return CopyAndWrite(path, written, piece); });
  bench::Print(row);
  std::filesystem::remove(path);
  return row;
}

/// Returns the row of the export.
bench::Row MeasureBoth(const std::string& frames, int rounds, const Qor_Trace_EntryStore& entries) {
  const auto row = Measure("export, frames of " + frames, rounds, entries, Export);
  Measure("client's writer, frames of " + frames, rounds, entries, Write);
  return row;
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  const size_t bytes = size_t{quick ? 1u : 200u} * 1024 * 1024;
  const int rounds = quick ? 1 : 9;
  bench::BecomeMultiThreaded();
  bench::PrintHead();
  const auto usual = MeasureBoth("60 to 1514 bytes", rounds, Frames(bytes, 60, 1514));
  MeasureBoth("1514 bytes", rounds, Frames(bytes, 1514, 1514));
  MeasureBoth("60 bytes", rounds, Frames(bytes / 4, 60, 60));
  const bench::GoalTable goals(argc, argv);
  goals.Print({"memcpy and write() by the PCAPNG export", usual.BoundSeconds / usual.WorkSeconds, "x", 0.85, true});
}
