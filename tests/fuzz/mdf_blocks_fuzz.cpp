// MDF blocks and data lists under a random sequence of calls: the same calls make the same bytes, a strict reader
// accepts the file, and the data in it is what went in.
//
// Input: packed or not, blocks of a list (1 each); calls, one after the other: which one (1), its arguments.
#include <array>

#include "Input.h"
#include "support/MdfFiles.h"
#include "support/MdfTwoLists.h"
#include "support/TemporaryDirectory.h"

namespace {

using fuzz::Input;
using fuzz::Require;

/// A file that calls of the input write.
class Recording {
 public:
  Recording(const char* name, Input input)
      : Calls(input), File{name, Calls.OneIn(2), static_cast<unsigned short>(1 + Calls.Below(6))} {
    Require(File.Id.Write(File.Stream), "the identification is written");
    PlaceAndWrite(*File.Header, File.Stream);
    // Small blocks, so that lists fill up and are continued.
    for (size_t list = 0; list < 2; ++list) File.MaxLength(list, 64 + Calls.Below(2000));
    while (Calls.Left() > 0) Call();
    Finish();
  }

  [[nodiscard]] const std::string& Data(size_t list) const { return Expected[list]; }
  [[nodiscard]] std::string DataRead(const StrictMdfReader& reader, size_t list) const {
    return File.DataRead(reader, list);
  }

 private:
  void Call() {
    const unsigned int call = Calls.Below(12);
    const size_t which = Calls.Below(2);
    MDF::DLBLOCK& list = *File.Lists[which];
    if (call < 7) return Insert(list, Expected[which]);
    if (call == 7) return static_cast<void>(list.Write());
    if (call == 8) return static_cast<void>(list.DataBlock_Add());
    if (call == 9) return PlaceAndWrite(*File.Header, File.Stream);
    if (call == 10) return Fail(list);
    return Change();
  }
  void Insert(MDF::DLBLOCK& list, std::string& expected) {
    const unsigned int size = Calls.Below(900);
    std::string bytes = Calls.TakeText(size);
    bytes.resize(size, 'r');
    if (list.Insert(::Data(bytes), size)) expected += bytes;
  }
  /// A flush while nothing can be written: it fails and loses nothing.
  void Fail(MDF::DLBLOCK& list) {
    File.Stream.setstate(std::ios_base::badbit);
    Require(!list.Write(), "a flush of a failed stream fails");
    File.Stream.clear();
  }
  void Change() {
    File.Header->StartTime_Set(Calls.Take<std::uint16_t>());
    File.Group->Links_Delete(MDF::kDgComment);
    if (Calls.OneIn(2)) MDF::LinkComment(*File.Group, MDF::kDgComment, "<DGcomment>" + Text() + "</DGcomment>");
    File.Header->Link_EVBLOCK(
        new MDF::EVBLOCK(Text().c_str(), static_cast<unsigned char>(Calls.Below(7)), 4, Calls.Below(1000)));
  }
  std::string Text() {
    std::string text = Calls.TakeText(Calls.Below(40));
    for (char& letter : text) letter = static_cast<char>('a' + static_cast<unsigned char>(letter) % 26);
    return text;
  }
  void Finish() {
    for (const auto& list : File.Lists) list->Write();
    File.Channels->CycleCount_Set(Expected[0].size());
    PlaceAndWrite(*File.Header, File.Stream);
    Require(File.Id.Finalize(File.Stream), "the identification is finalized");
    File.Stream.flush();
    Require(File.Stream.good(), "the file is written");
  }

  Input Calls;
  test::MdfTwoLists File;
  std::array<std::string, 2> Expected;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  const Recording recording("first.mf4", {data, size});
  const std::string file = StrictMdfReader::Load("first.mf4");
  StrictMdfReader reader(file, {.Records = true, .OldBlocks = true});
  reader.ReadFile();
  Require(reader.Report().empty(), reader.Report().c_str());
  Require(recording.DataRead(reader, 0) == recording.Data(0), "the records read back");
  Require(recording.DataRead(reader, 1) == recording.Data(1), "the signal data reads back");
  const Recording again("second.mf4", {data, size});
  Require(StrictMdfReader::Load("second.mf4") == file, "the same calls give the same bytes");
  return 0;
}
