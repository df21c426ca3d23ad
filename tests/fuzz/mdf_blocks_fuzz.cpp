// MDF blocks and data lists under a random sequence of calls: the same calls give the same bytes, a strict reader accepts the
// file, and the data in it is what went in.
//
// Input: packed or not, blocks of a list (1 each); calls, one after the other: which one (1), its arguments.
#include <array>
#include <memory>

#include "Input.h"
#include "mdf/Block.h"
#include "mdf/BlockTree.h"
#include "support/MdfFiles.h"
#include "support/TemporaryDirectory.h"

namespace {

using fuzz::Input;
using fuzz::Require;

/// A file with one data group whose records and signal data are written by two data lists.
class Recording {
 public:
  Recording(const char* name, Input input) : Calls(input), Stream(name) {
    const bool packed = Calls.OneIn(2);
    const auto blocks = static_cast<unsigned short>(1 + Calls.Below(6));
    Require(Id.Write(Stream), "the identification is written");
    PlaceAndWrite(*Header, Stream);
    Group->Link_CGBLOCK(Channels);
    Channels->Link_CNBLOCK(Signal);
    Header->Link_DGBLOCK(Group);
    Lists[0] = std::make_unique<MDF::DLBLOCK>(Group, blocks, packed, Stream);
    Lists[1] = std::make_unique<MDF::DLBLOCK>(Signal, blocks, packed, Stream);
    for (const auto& list : Lists) {
      // Small blocks, so that lists fill up and are continued.
      dynamic_cast<MDF::DataBlockDynamic&>(*list->Links_Get(MDF::kDlData)).MaxLength(64 + Calls.Below(2000));
    }
    while (Calls.Left() > 0) Call();
    Finish();
  }
  ~Recording() {
    Stream.close();
    MDF::Tree_Destroy(Header, MDF::DataLists::kLeave);
  }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  [[nodiscard]] const std::string& Data(size_t list) const { return Expected[list]; }
  [[nodiscard]] uint64_t GroupPlace() const { return static_cast<uint64_t>(Group->Block_FilePos()); }
  [[nodiscard]] uint64_t SignalPlace() const { return static_cast<uint64_t>(Signal->Block_FilePos()); }

 private:
  void Call() {
    const unsigned int call = Calls.Below(12);
    const size_t which = Calls.Below(2);
    MDF::DLBLOCK& list = *Lists[which];
    if (call < 7) return Insert(list, Expected[which]);
    if (call == 7) return static_cast<void>(list.Write());
    if (call == 8) return static_cast<void>(list.DataBlock_Add());
    if (call == 9) return PlaceAndWrite(*Header, Stream);
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
    Stream.setstate(std::ios_base::badbit);
    Require(!list.Write(), "a flush of a failed stream fails");
    Stream.clear();
  }
  void Change() {
    Header->StartTime_Set(Calls.Take<std::uint16_t>());
    Group->Links_Delete(MDF::kDgComment);
    if (Calls.OneIn(2)) Group->Links_Set(MDF::kDgComment, new MDF::MDBLOCK("<DGcomment>" + Text() + "</DGcomment>"));
    Header->Link_EVBLOCK(
        new MDF::EVBLOCK(Text().c_str(), static_cast<unsigned char>(Calls.Below(7)), 4, Calls.Below(1000)));
  }
  std::string Text() {
    std::string text = Calls.TakeText(Calls.Below(40));
    for (char& letter : text) letter = static_cast<char>('a' + static_cast<unsigned char>(letter) % 26);
    return text;
  }
  void Finish() {
    for (const auto& list : Lists) list->Write();
    Channels->CycleCount_Set(Expected[0].size());
    PlaceAndWrite(*Header, Stream);
    Require(Id.Finalize(Stream), "the identification is finalized");
    Stream.flush();
    Require(Stream.good(), "the file is written");
  }

  Input Calls;
  FileStream Stream;
  MDF::IDBLOCK Id{"Fuzz    "};
  MDF::HDBLOCK* Header = new MDF::HDBLOCK(1);
  MDF::DGBLOCK* Group = new MDF::DGBLOCK(false);
  MDF::CGBLOCK* Channels = new MDF::CGBLOCK("bus", 1, 6, 1);  // records of one byte
  MDF::CNBLOCK* Signal = new MDF::CNBLOCK("signal", 1, 0, 10, 0, 0);
  std::array<std::unique_ptr<MDF::DLBLOCK>, 2> Lists;
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
  const auto& group = reader.At(recording.GroupPlace());
  const auto& signal = reader.At(recording.SignalPlace());
  Require(reader.DataBehind(StrictMdfReader::LinkOf(group, 2)) == recording.Data(0), "the records read back");
  Require(reader.DataBehind(StrictMdfReader::LinkOf(signal, 5)) == recording.Data(1), "the signal data reads back");
  const Recording again("second.mf4", {data, size});
  Require(StrictMdfReader::Load("second.mf4") == file, "the same calls give the same bytes");
  return 0;
}
