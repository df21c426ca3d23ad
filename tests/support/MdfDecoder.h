// Decodes the records of an MDF file as any reader does that knows the format and nothing of who wrote the file: it
// finds channels by their names and takes their values from the records by position, size, type and conversion.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A whole file. What doesn't make sense is thrown as std::runtime_error with a text for people.
class MdfDecoder {
 public:
  enum class DataType : uint8_t { kUnsigned = 0, kFloat = 4, kBytes = 10 };

  struct Conversion {
    uint8_t Type = 0;  // 0 none, 1 linear, 7 value to text
    std::vector<double> Values;
    std::vector<std::optional<std::string>> Texts;  // of the values; one more is the default
    std::string Unit;
  };

  struct Channel {
    std::string Name;
    uint8_t Kind = 0;  // 0 fixed, 1 variable length, 2 master, 5 maximum length, 6 virtual
    DataType Type = DataType::kUnsigned;
    uint64_t Bit = 0;  // from the record's first byte
    uint64_t Bits = 0;
    Conversion Convert;
    std::string Unit;
    std::string Comment;
    std::string Signal;  // the data of a channel of variable length
  };

  /// A channel group: one kind of event of one bus.
  class Group {
   public:
    std::string Acquisition;  // name of the bus
    std::string Source;       // name of the source
    std::string SourcePath;
    uint8_t SourceType = 0;
    uint8_t BusType = 0;            // of the source
    std::string Event;              // name of the structure channel
    uint64_t Count = 0;             // records
    uint64_t RecordSize = 0;        // bytes, the id included
    uint64_t IdSize = 0;            // bytes of the record id
    std::vector<Channel> Channels;  // components after the channel that they belong to
    std::string Data;

    [[nodiscard]] bool Has(std::string_view channel) const;
    /// By its full name, or by the part after the event's.
    [[nodiscard]] const Channel& Find(std::string_view channel) const;
    /// The number as it is stored; a virtual channel's is the number of the record.
    [[nodiscard]] uint64_t Raw(uint64_t record, std::string_view channel) const;
    /// The number after conversion.
    [[nodiscard]] double Physical(uint64_t record, std::string_view channel) const;
    /// The text of a value, of a channel with such a conversion.
    [[nodiscard]] std::string Text(uint64_t record, std::string_view channel) const;
    /// The bytes of an array, of fixed or variable length.
    [[nodiscard]] std::string Bytes(uint64_t record, std::string_view channel) const;

   private:
    [[nodiscard]] std::string_view Record(uint64_t record) const;
    [[nodiscard]] uint64_t Bits(uint64_t record, const Channel& channel) const;
  };

  struct Event {
    uint8_t Type = 0;
    uint8_t Range = 0;
    uint8_t Cause = 0;
    std::string Name;
    int64_t Time = 0;                // ns
    std::optional<size_t> BeginsAt;  // index of the event that the range began with
    size_t Scopes = 0;
    std::vector<std::string> ScopeIds;  // "##CG"
  };

  explicit MdfDecoder(std::string bytes);

  [[nodiscard]] bool Finalized() const { return Bytes.compare(0, 8, "MDF     ") == 0; }
  /// ns since 1970.
  [[nodiscard]] uint64_t StartTime() const { return Start; }
  [[nodiscard]] const std::string& Comment() const { return HeaderComment; }
  /// The comments of the file's history, oldest first.
  [[nodiscard]] const std::vector<std::string>& Histories() const { return HistoryComments; }
  /// In file order.
  [[nodiscard]] const std::deque<Group>& Groups() const { return All; }
  [[nodiscard]] const std::vector<Event>& Events() const { return Marks; }
  /// The group of an event of a bus ("CAN1"); throws when there is none.
  [[nodiscard]] const Group& Find(std::string_view bus, std::string_view event) const;

 private:
  struct Block {
    std::string_view Id;
    std::vector<uint64_t> Links;
    std::string_view Data;
  };

  [[nodiscard]] Block At(uint64_t position, std::string_view ids) const;
  [[nodiscard]] std::string TextAt(uint64_t position) const;
  [[nodiscard]] std::string DataAt(uint64_t position, std::string_view plain) const;
  [[nodiscard]] std::string Unpacked(const Block& block, std::string_view plain) const;
  [[nodiscard]] Conversion ConversionAt(uint64_t position) const;
  void ReadGroups(uint64_t position);
  void ReadGroup(const Block& data, const Block& group);
  void ReadChannels(uint64_t position, Group& group);
  void ReadEvents(uint64_t position);

  std::string Bytes;
  uint64_t Start = 0;
  std::string HeaderComment;
  std::vector<std::string> HistoryComments;
  std::deque<Group> All;
  std::vector<Event> Marks;
};
