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
#include <string_view>

namespace orvane::platform {

// A view of one attribute of a netlink message, valid as long as the message.
class Attribute {
 public:
  // An absent attribute.
  Attribute() = default;

  Attribute(std::uint16_t type, const std::uint8_t* payload, std::uint16_t length)
      : payload_(payload), length_(length), type_(type) {}

  explicit operator bool() const { return payload_ != nullptr; }

  // The type without the flag bits for nesting and byte order.
  std::uint16_t type() const { return type_ & NLA_TYPE_MASK; }
  std::span<const std::uint8_t> payload() const { return {payload_, length_}; }

  // The payload as text, up to its first null byte.
  std::string_view text() const {
    const std::string_view bytes(reinterpret_cast<const char*>(payload_), length_);
    return bytes.substr(0, bytes.find('\0'));
  }

  // Returns the payload as a number or struct, in host byte order. Returns nothing if the attribute
  // is absent or its payload has another size.
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

// A view of the attributes of a message or of a nest in it, valid as long as the message. It never
// reads outside the given bytes. The list ends before the first attribute that is truncated or
// whose length is less than its header's; earlier attributes are read.
//
// It is a range, so that one walk can find several attributes. Each getter makes its own walk and
// takes the first attribute of the type.
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
    // Parses the attribute at `next_`, if there is one.
    void Read() {
      nlattr header;
      if (rest_ >= sizeof(header)) {
        std::memcpy(&header, next_, sizeof(header));
        if (header.nla_len >= sizeof(header) && header.nla_len <= rest_) {
          current_ = Attribute(header.nla_type, next_ + sizeof(header),
                               static_cast<std::uint16_t>(header.nla_len - sizeof(header)));
          // The last attribute may lack its padding.
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

  // The list in the payload of a nest; empty if the attribute is absent.
  explicit AttributeList(const Attribute& nest) : bytes_(nest.payload()) {}

  Iterator begin() const { return Iterator(bytes_); }
  std::default_sentinel_t end() const { return std::default_sentinel; }

  // Returns the first attribute of the type, or an absent one.
  Attribute Find(int type) const;

  template <typename Value>
  std::optional<Value> Get(int type) const {
    return Find(type).As<Value>();
  }

  // A flag attribute has no payload; it is set if it is present.
  bool HasFlag(int type) const;

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_NETLINK_ATTRIBUTE_LIST_H_
