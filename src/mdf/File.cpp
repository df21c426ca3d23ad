#include "mdf/File.h"

#include <algorithm>
#include <new>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>

#include "mdf/BlockTree.h"
#include "mdf/FileEvents.h"
#include "mdf/PackQueue.h"
#include "mdf/RecordingComment.h"
#include "mdf/XmlText.h"

namespace {

constexpr unsigned int kDataBlock = 0x200000;  // bytes
constexpr uint64_t kDescriptionsPerFile = 4;   // size of an automatically limited file, in sizes of its descriptions

constexpr unsigned char kRecording = 0;
constexpr unsigned char kCauseUser = 4;

constexpr char kHistory[] =
    "<FHcomment><TX>created</TX><tool_id>Qor-API Trace DLL</tool_id><tool_vendor>Norvik electronic GmbH</tool_vendor>"
    "</FHcomment>";

std::string Property(const char* name, const std::string& value) {
  return std::string("<e name=\"").append(name).append("\">").append(MDF::EscapedForXml(value)).append("</e>\n");
}

// --- comments ---

constexpr size_t kCommentRoom = 2048;  // bytes that a comment may grow by, such as by the losses

/// Replaces a comment's text within its room. False, and nothing is changed, when it doesn't fit.
/// @throws std::bad_alloc; nothing is changed then
bool StoreText(MDF::MDBLOCK& comment, std::string text) {
  const unsigned long room = comment.Block_Length() - sizeof(MDF::BlockHeader);
  if (text.size() >= room) return false;
  if (!comment.Reset(static_cast<unsigned int>(room))) throw std::bad_alloc();
  constexpr size_t kMostAtOnce = 255;
  for (size_t done = 0; done < text.size(); done += kMostAtOnce) {
    const size_t size = std::min(text.size() - done, kMostAtOnce);
    auto* bytes = reinterpret_cast<unsigned char*>(text.data() + done);
    (void)comment.Insert(static_cast<unsigned int>(done), static_cast<unsigned char>(size), bytes);
  }
  return true;
}

// "Begin of Recording": sic, part of the interface.
MDF::NewEvent BeginEvent(unsigned long time) {
  return MDF::NewEvent(new MDF::EVBLOCK("Begin of Recording", kRecording, kCauseUser, time));
}

/// Whether there is a header to read. An entry that is shorter may be no more than its length.
bool HoldsHeader(const Qor_Trace_Entry_t& entry) { return entry.Length >= RecordView::kHeader; }

}  // namespace

bool MdfFile::BusLinks_sort::operator()(const Bus* left, const Bus* right) const {
  const auto key = [](const Bus* bus) { return std::tuple(bus->BusChannel_Get(), bus->BusType_Get(), bus); };
  return key(left) < key(right);
}

// --- life ---

MdfFile::MdfFile(const std::string& fileName, unsigned long startTime) : MdfFile(fileName, startTime, 0) {}

// Should a constructor that delegates to this one throw, the destructor cleans up.
MdfFile::MdfFile(const std::string& fileName) : BaseName(fileName) { Written = true; }

MdfFile::MdfFile(const std::string& fileName, unsigned long startTime, unsigned int maxSizeKiB) : MdfFile(fileName) {
  if (maxSizeKiB != 0) File_SetMaxSize(maxSizeKiB);
  Initialization(startTime);
  File_Open(startTime);
  Write();
}

MdfFile::~MdfFile() {
  exceptions(std::ios_base::goodbit);  // failures show in the state, even if the caller asked for exceptions
  try {
    if (is_open()) {
      File_FlushData();
      close();
    }
  } catch (...) {
    setstate(std::ios_base::failbit);  // not finalized, which is what a reader will see
  }
  DropTree();
}

void MdfFile::Initialization(unsigned long startTime) {
  auto id = std::make_unique<MDF::IDBLOCK>("Qor_API");
  MDF::NewTree<MDF::HDBLOCK> header(new MDF::HDBLOCK(startTime));
  auto* history = new MDF::FHBLOCK(startTime, kHistory);
  header->Links_Set(MDF::kHdFirstHistory, history);
  auto root = std::make_unique<BusRoot>(header.get(), *this);
  root->Queue_Set(Queue.get());
  auto* begin = BeginEvent(0).release();
  header->Link_EVBLOCK(begin);
  DropTree();
  Id = std::move(id);
  Header = header.release();
  History = history;
  Root = std::move(root);
  Begin = begin;
  LastEvent = begin;
  Placed = 0;
  IdWritten = false;
  FirstRecordSeen = false;
  HasRecords = false;
  Changed = true;
}

// The buses own the data lists, which the tree only refers to.
void MdfFile::DropTree() {
  if (Queue != nullptr) Queue->Discard();
  MDF::DestroyTree(Header, MDF::DataLists::kLeave);
  Header = nullptr;
  History = nullptr;
  Begin = nullptr;
  Comment = nullptr;
  LastEvent = nullptr;
  GroupInFile = nullptr;
  EventInFile = nullptr;
  LossMarks.clear();
  BusLinks.clear();
  Root.reset();
}

bool MdfFile::FileInformationHeader(const FileInfo& info) {
  for (const std::string* text : {&info.Author, &info.Department, &info.Project, &info.Subject, &info.Text}) {
    if (!MDF::IsUtf8(*text)) return false;
  }
  std::string xml = "<HDcomment><TX>" + MDF::EscapedForXml(info.Text) + "</TX>\n<common_properties>";
  xml += Property("author", info.Author) + Property("department", info.Department);
  xml += Property("project", info.Project) + Property("subject", info.Subject);
  xml += "</common_properties></HDcomment>";
  auto comment = std::make_unique<MDF::MDBLOCK>(xml);
  Header->Links_Delete(MDF::kHdComment);
  Header->Links_Set(MDF::kHdComment, comment.release());
  Comment = nullptr;
  Changed = true;
  return true;
}

bool MdfFile::Convention_Set(BusConvention convention) {
  if (!Root->Empty()) return false;
  Root->Convention_Set(convention);
  return true;
}

bool MdfFile::Workers_Set(unsigned int workers) {
  if (!Settle()) return false;
  try {
    Queue = workers != 0 ? std::make_unique<MDF::PackQueue>(workers, *this) : nullptr;
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::system_error&) {
    return false;
  }
  Root->Queue_Set(Queue.get());
  return true;
}

/// Waits for the workers, until everything that was handed to them is in the file.
bool MdfFile::Settle() { return Queue == nullptr || Queue->PlaceAll(); }

void MdfFile::Recording_Set(const RecordingInfo& info) {
  std::vector<RecordingInfo::Channel> channels = info.Channels;
  SetComment(MDF::HeaderComment(info));
  AddHistory(info);
  Root->ChannelInfo_Set(std::move(channels));
}

/// In the block that is there already, if the text fits into its room; else in a new one, which leaves the old one's bytes in
/// the file.
void MdfFile::SetComment(const std::string& xml) {
  if (Comment == nullptr || !StoreText(*Comment, xml)) {
    auto comment = std::make_unique<MDF::MDBLOCK>(xml + std::string(kCommentRoom, ' '));
    (void)StoreText(*comment, xml);  // the same length, with zeros in place of the blanks
    Header->Links_Delete(MDF::kHdComment);
    Header->Links_Set(MDF::kHdComment, comment.get());
    Comment = comment.release();
  }
  EventInFile = nullptr;  // so that the next write looks at all blocks, this one included
  Changed = true;
}

/// The library's own entry stays the first one. Once: what is said later is about the same recording.
void MdfFile::AddHistory(const RecordingInfo& info) {
  if (info.Tool.empty() || History->Links_Get(MDF::kFhNext) != nullptr) return;
  const unsigned long time = info.Start != 0 ? info.Start : Header->StartTime_Get();
  History->Links_Set(MDF::kFhNext, new MDF::FHBLOCK(time, MDF::HistoryComment(info).c_str()));
}

std::string MdfFile::FileName() const {
  return FileIndex == 0 ? BaseName + ".mf4" : BaseName + "_" + std::to_string(FileIndex) + ".mf4";
}

// --- opening and closing ---

bool MdfFile::File_Open(unsigned long time) {
  if (is_open()) return true;
  if (IdWritten) RenewFile();
  MDF::NewEvent begin = Begin == nullptr ? BeginEvent(Header->RelativeTime(time)) : nullptr;
  clear();
  if (!OpenStream()) return false;
  Changed = true;
  if (begin == nullptr) return true;
  Begin = begin.release();
  AppendEvent(Begin);
  return true;
}

bool MdfFile::OpenStream() {
  try {
    open(FileName(), std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);
  } catch (const std::bad_alloc&) {
    close();  // it is open, but can't be written to
    throw;
  }
  return is_open();
}

/// Makes the blocks ready for another file: nothing is written, placed or counted, and there are no events yet.
void MdfFile::RenewFile() {
  BlockSet done{Header};  // the memory that is needed
  DropEvents();
  Id->Block_Reset();
  Header->Block_Reset(true, done);
  Root->Bus_Reset();
  GroupInFile = nullptr;
  EventInFile = nullptr;
  Placed = 0;
  IdWritten = false;
  HasRecords = false;
  Changed = true;
}

void MdfFile::DropEvents() {
  MDF::Block* dropped = Header->Links_Get(MDF::kHdFirstEvent);
  Header->Event_Unlink();
  while (dropped != nullptr) {
    MDF::Block* next = dropped->Links_Get(MDF::kEvNext);
    MDF::DestroyEvent(static_cast<MDF::EVBLOCK*>(dropped));
    dropped = next;
  }
  Begin = nullptr;
  LastEvent = nullptr;
}

bool MdfFile::File_FlushData() {
  const bool described = !is_open() || !Changed || Write();
  return Root->Write() && described;
}

bool MdfFile::File_Close(unsigned long time) {
  const bool flushed = File_FlushData();
  if (!flushed && is_open() && good() && Root->Data_Waiting()) return false;  // memory was short
  if (Begin != nullptr) {
    const std::string name = "End of Recording";
    AppendEvent(new MDF::EVBLOCK(name, kRecording, kCauseUser, Header->RelativeTime(time), Begin));
    Begin = nullptr;
  }
  if (!is_open()) return false;
  EventInFile = nullptr;  // the last write searches the whole tree: a failed one may have left blocks unwritten
  const bool written = Write();
  if (flushed && written) Id->Finalize(*this);
  const bool sound = flushed && written && good();
  close();
  return sound && good();
}

// --- series ---

unsigned int MdfFile::File_SetMaxSize(unsigned int kib) {
  const bool written = Written;
  (void)Settle();  // what waits was looked at with the limit that there was
  Written = written;
  const unsigned int wanted = kib * 1024U;  // wraps: part of the interface
  Limit = wanted > kDataBlock ? SizeLimit::kKnown : SizeLimit::kToBeChosen;
  MaxSize = Limit == SizeLimit::kKnown ? wanted - (kDataBlock - 1) : 0;  // a file that has reached it is full
  return kDataBlock;
}

bool MdfFile::FileIterationHandler(unsigned long time) {
  if (!IsLimitReached()) return true;
  (void)BeginNextFile(time);
  return false;
}

/// Only what went to the file can have changed its size.
bool MdfFile::IsLimitReached() {
  if (!Written) return false;
  Written = false;
  if (Limit == SizeLimit::kNone || !is_open() || !good()) return false;
  const unsigned long waiting = Queue != nullptr ? Queue->MostBytes() : 0;
  if (static_cast<uint64_t>(MDF::SeekEnd(*this)) + waiting < MaxSize) return false;
  if (!Settle()) {
    Written = true;  // to be looked at again
    return false;
  }
  Written = false;
  return static_cast<uint64_t>(MDF::SeekEnd(*this)) >= MaxSize;
}

/// Ends this file and begins the next. A file that can't be written stays the current one. True when the records are safe
/// and there is a file for those that follow.
bool MdfFile::BeginNextFile(unsigned long time) {
  if (!Root->Write()) {
    Written = true;
    return good() && Root->Data_Waiting();  // memory was short
  }
  const bool closed = File_Close(time);
  ++FileIndex;
  RenewFile();
  const bool opened = File_Open(time);
  Root->Data_NewBlock();
  const bool described = Write();
  Written = false;
  return closed && opened && described;
}

/// The automatic limit, at the first record.
void MdfFile::ChooseLimit() {
  if (!FirstRecordSeen && Limit == SizeLimit::kToBeChosen && is_open()) {
    Limit = SizeLimit::kKnown;
    MaxSize = kDescriptionsPerFile * static_cast<uint64_t>(MDF::SeekEnd(*this));
  }
  FirstRecordSeen = true;
}

// --- descriptions ---

bool MdfFile::Write() {
  if (!is_open() || !good() || !Settle()) return false;
  if (!Id->Write(*this)) return false;
  IdWritten = true;
  // Blocks that have a place but were not written, because memory was short, keep it.
  Placed = std::max({Placed, MDF::SeekEnd(*this), static_cast<long>(Id->Block_Length())});
  BlockSet changed;
  PlaceBlocks(changed);
  // Last to first: new blocks, placed last, are in the file before an older block links to them.
  std::for_each(changed.rbegin(), changed.rend(), [this](MDF::Block* block) { block->Write(*this); });
  flush();
  Changed = !good();
  if (Changed) return false;
  BusLinks.clear();
  GroupInFile = Root->LatestHierarchieElement();
  EventInFile = LastEvent;
  return true;
}

/// Groups and events are only ever appended: once all of them are in the file, the search begins at the ends of these
/// chains, so that each addition costs the same however many came before.
void MdfFile::PlaceBlocks(BlockSet& changed) {
  MDF::Block* lastEvent = std::exchange(EventInFile, nullptr);  // set again once everything is written
  if (lastEvent == nullptr) {
    Header->Block_PlaceAndList(false, &Placed, &changed);
    return;
  }
  for (unsigned int link = 0; link < Header->Links_Count(); ++link) {
    MDF::Block* added = Header->Links_Get(link);
    if (link == MDF::kHdFirstGroup && GroupInFile != Header) added = GroupInFile->Links_Get(MDF::kDgNext);
    if (link == MDF::kHdFirstEvent) added = lastEvent->Links_Get(MDF::kEvNext);
    MDF::PlaceNewInTree(added, Placed, changed);
  }
  for (MDF::Block* block : {static_cast<MDF::Block*>(Header), GroupInFile, lastEvent}) {
    if (block->WriteRequest()) changed.insert(block);
  }
}

bool MdfFile::StartTime_Reset(unsigned long startTime, bool relative) {
  Header->StartTime_Set(startTime);
  if (relative) Header->RelativeTime_Set(startTime);
  Changed = true;
  return true;
}

void MdfFile::UnfinalizedFlags(MDF::IDBLOCK::UnfinalizedFlags::unfinFlags_t flags) {
  Id->UnfinFlags(flags);
  Changed = true;
}

void MdfFile::UnfinalizedFlags_Custom(unsigned short flags) {
  Id->UnfinFlags_Custom(flags);
  Changed = true;
}

// --- buses and records ---

bool MdfFile::Bus_Add(unsigned int busChannel, unsigned char busType) {
  decltype(BusLinks) added{nullptr};
  auto link = added.extract(added.begin());  // memory first, so that a bus that was added is certain to be noted
  if (!Root->Bus_Add(busChannel, busType)) return false;
  link.value() = Root->Bus_Get(busChannel, busType);
  BusLinks.insert(std::move(link));
  return true;
}

unsigned long MdfFile::Bus_Cycles(unsigned int busChannel, unsigned char busType) const {
  const Bus* bus = Root->Bus_Get(busChannel, busType);
  return bus != nullptr ? bus->CycleCount_Get() : 0;
}

unsigned char MdfFile::Bus_Type(unsigned int busChannel, unsigned char busType) const {
  constexpr unsigned char kNone = 255;
  const Bus* bus = Root->Bus_Get(busChannel, busType);
  return bus != nullptr ? bus->BusType_Get() : kNone;
}

bool MdfFile::Bus_Reset() {
  if (is_open() && HasRecords) return false;
  Root->Bus_Reset();
  return true;
}

bool MdfFile::Data_Insert(Qor_Trace_Entry_t& entry) {
  return Describe() && HoldsHeader(entry) && InsertInto(Root->FindBus(entry.ChannelId, entry.BusType), entry) &&
         Recorded(entry.Timestamp);
}

bool MdfFile::Data_Insert(unsigned int busChannel, unsigned char busType, Qor_Trace_Entry_t& entry) {
  return Describe() && HoldsHeader(entry) && InsertInto(Root->Bus_Get(busChannel, busType), entry) &&
         Recorded(entry.Timestamp);
}

/// The record and, in the standard convention, the event of the file that the entry asks for. What needs memory comes first.
bool MdfFile::InsertInto(Bus* bus, Qor_Trace_Entry_t& entry) {
  if (bus == nullptr) return false;
  if (Root->Convention_Get() != BusConvention::kStandard) return Root->Data_Insert(bus, entry);
  MDF::NewEvent mark(NewMark(*bus, entry));
  if (!Root->Data_Insert(bus, entry)) return false;
  if (mark != nullptr) AppendEvent(mark.release());
  return true;
}
