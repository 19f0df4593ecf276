#ifndef PLATFORM_NETLINK_ATTRIBUTE_LIST_H_
#define PLATFORM_NETLINK_ATTRIBUTE_LIST_H_

#include <linux/netlink.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <span>

#include "platform/byte_string.h"

namespace orvane::platform {

// One attribute of a netlink message, read where it lies: a view, valid as long as its message. The
// getters of numbers report false, and leave `value` alone, when the attribute is absent or its
// payload has another size than the number. Numbers are in the machine's byte order.
class Attribute {
 public:
  // An absent one.
  Attribute() = default;

  Attribute(std::uint16_t type, const std::uint8_t* payload, std::uint16_t length)
      : payload_(payload), length_(length), type_(type) {}

  explicit operator bool() const { return payload_ != nullptr; }

  // Without the bits that tell nesting and byte order.
  std::uint16_t type() const { return type_ & NLA_TYPE_MASK; }
  std::span<const std::uint8_t> payload() const { return {payload_, length_}; }

  bool GetU8(std::uint8_t* value) const { return GetNumber(value); }
  bool GetU16(std::uint16_t* value) const { return GetNumber(value); }
  bool GetU32(std::uint32_t* value) const { return GetNumber(value); }
  bool GetU64(std::uint64_t* value) const { return GetNumber(value); }
  bool GetS32(std::int32_t* value) const { return GetNumber(value); }

 private:
  template <typename Number>
  bool GetNumber(Number* value) const {
    if (payload_ == nullptr || length_ != sizeof(Number)) return false;
    std::memcpy(value, payload_, sizeof(Number));
    return true;
  }

  const std::uint8_t* payload_ = nullptr;
  std::uint16_t length_ = 0;
  std::uint16_t type_ = 0;
};

// The attributes of a message or of a nest in it: a view, valid as long as the message. Nothing is
// read outside the bytes that it was given. The list ends before the first attribute that is cut
// off or whose length is less than its header's; what stands before it is read.
//
// A range of attributes, for one walk that notes several of them; the getters walk once each, and
// where a type occurs more than once they take the first. They report false when the attribute is
// absent or its payload has not the size of the value (a raw value and a nested list may have any),
// and then leave `value` as it was.
class AttributeList {
 public:
  class Iterator {
   public:
    using value_type = Attribute;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(std::span<const std::uint8_t> bytes)
        : next_(bytes.data()), rest_(bytes.size()) {
      Read();
    }

    const Attribute& operator*() const { return current_; }
    Iterator& operator++() {
      Read();
      return *this;
    }
    bool operator==(std::default_sentinel_t /*end*/) const { return !current_; }

   private:
    // Takes the attribute at `next_`, or none.
    void Read() {
      nlattr header;
      if (rest_ >= sizeof(header)) {
        std::memcpy(&header, next_, sizeof(header));
        if (header.nla_len >= sizeof(header) && header.nla_len <= rest_) {
          current_ = Attribute(header.nla_type, next_ + sizeof(header),
                               static_cast<std::uint16_t>(header.nla_len - sizeof(header)));
          // The last one's padding may be missing.
          const std::size_t step = std::min<std::size_t>(NLA_ALIGN(header.nla_len), rest_);
          next_ += step;
          rest_ -= step;
          return;
        }
      }
      current_ = Attribute();
    }

    const std::uint8_t* next_;
    std::size_t rest_;
    Attribute current_;
  };

  // An empty list.
  AttributeList() = default;
  explicit AttributeList(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  // The list that is the payload of a nest; an absent attribute has an empty one.
  explicit AttributeList(const Attribute& nest) : bytes_(nest.payload()) {}

  Iterator begin() const { return Iterator(bytes_); }
  std::default_sentinel_t end() const { return std::default_sentinel; }

  // The first of the type, or an absent one.
  Attribute Find(int type) const;

  bool GetU8AttributeValue(int type, std::uint8_t* value) const { return Find(type).GetU8(value); }
  bool GetU16AttributeValue(int type, std::uint16_t* value) const {
    return Find(type).GetU16(value);
  }
  bool GetU32AttributeValue(int type, std::uint32_t* value) const {
    return Find(type).GetU32(value);
  }
  bool GetU64AttributeValue(int type, std::uint64_t* value) const {
    return Find(type).GetU64(value);
  }

  // A flag is set by being there, with no payload.
  bool GetFlagAttributeValue(int type, bool* value) const;

  bool GetRawAttributeValue(int type, ByteString* value) const;
  bool ConstGetNestedAttributeList(int type, AttributeList* value) const;

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_ATTRIBUTE_LIST_H_
