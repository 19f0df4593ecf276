#ifndef PLATFORM_NETLINK_ATTRIBUTE_LIST_H_
#define PLATFORM_NETLINK_ATTRIBUTE_LIST_H_

#include <linux/netlink.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>

namespace orvane::platform {

// One attribute of a netlink message, read where it lies: a view, valid as long as its message.
class Attribute {
 public:
  // An absent one.
  Attribute() = default;

  Attribute(std::uint16_t type, const std::uint8_t* payload, std::uint16_t length)
      : payload_(payload), length_(length), type_(type) {}

  explicit operator bool() const { return payload_ != nullptr; }

  // Without the bits for nesting and byte order.
  std::uint16_t type() const { return type_ & NLA_TYPE_MASK; }
  std::span<const std::uint8_t> payload() const { return {payload_, length_}; }

  // The number, or the struct, that is the whole payload, in the machine's byte order. Nothing if
  // the attribute is absent or its payload has another size.
  template <typename Value>
  std::optional<Value> As() const {
    if (payload_ == nullptr || length_ != sizeof(Value)) return std::nullopt;
    Value value;
    std::memcpy(&value, payload_, sizeof(value));
    return value;
  }

 private:
  const std::uint8_t* payload_ = nullptr;
  std::uint16_t length_ = 0;
  std::uint16_t type_ = 0;
};

// The attributes of a message or of a nest in it: a view, valid as long as the message. Nothing is
// read outside the bytes that it was given. The list ends before the first attribute that is cut
// off or whose length is less than its header's; what stands before it is read.
//
// It is a range, for one walk that looks for several attributes. The getters walk once each, and
// take the first attribute of their type.
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

  template <typename Value>
  std::optional<Value> Get(int type) const {
    return Find(type).As<Value>();
  }

  // A flag is set if it is there, with no payload.
  bool HasFlag(int type) const;

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_ATTRIBUTE_LIST_H_
