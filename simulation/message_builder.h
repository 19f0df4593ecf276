#ifndef SIMULATION_MESSAGE_BUILDER_H_
#define SIMULATION_MESSAGE_BUILDER_H_

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace orvane::simulation {

// Builds netlink bytes, valid or invalid.
class BytesBuilder {
 public:
  template <typename T>
  BytesBuilder& Value(const T& value) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
    bytes_.insert(bytes_.end(), bytes, bytes + sizeof(value));
    return *this;
  }
  BytesBuilder& Append(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  BytesBuilder& Pad() {
    bytes_.resize(NLMSG_ALIGN(bytes_.size()));
    return *this;
  }
  std::size_t size() const { return bytes_.size(); }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// Builds a sequence of padded attributes.
class AttributeBuilder {
 public:
  AttributeBuilder& U8(int type, std::uint8_t value) { return Number(type, value); }
  AttributeBuilder& U16(int type, std::uint16_t value) { return Number(type, value); }
  AttributeBuilder& U32(int type, std::uint32_t value) { return Number(type, value); }
  AttributeBuilder& U64(int type, std::uint64_t value) { return Number(type, value); }
  AttributeBuilder& Flag(int type) { return Raw(type, {}); }
  AttributeBuilder& Nest(int type, const AttributeBuilder& nested) {
    return Raw(type, nested.bytes());
  }
  // With the terminating null byte.
  AttributeBuilder& Text(int type, const std::string& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
    return Raw(type, {bytes, text.size() + 1});
  }
  AttributeBuilder& Raw(int type, std::span<const std::uint8_t> payload) {
    return Lying(type, NLA_HDRLEN + payload.size(), payload);
  }
  AttributeBuilder& Raw(int type, std::initializer_list<std::uint8_t> payload) {
    return Raw(type, std::span(payload.begin(), payload.size()));
  }
  // An attribute with any length field, correct or not.
  AttributeBuilder& Lying(int type, std::size_t length, std::span<const std::uint8_t> payload) {
    builder_.Value(nlattr{static_cast<std::uint16_t>(length), static_cast<std::uint16_t>(type)})
        .Append(payload)
        .Pad();
    return *this;
  }
  // Appends raw bytes.
  AttributeBuilder& Tail(std::span<const std::uint8_t> bytes) {
    builder_.Append(bytes);
    return *this;
  }

  const std::vector<std::uint8_t>& bytes() const { return builder_.bytes(); }

 private:
  template <typename T>
  AttributeBuilder& Number(int type, T value) {
    return Raw(type, {reinterpret_cast<const std::uint8_t*>(&value), sizeof(value)});
  }

  BytesBuilder builder_;
};

// The header fields of a message. In a reply, sequence and port identify the request.
struct MessageHeader {
  std::uint16_t type;
  std::uint16_t flags = 0;
  std::uint32_t sequence = 0;
  std::uint32_t port = 0;
};

// Builds one padded message.
inline std::vector<std::uint8_t> MakeNetlinkMessage(const MessageHeader& header,
                                                    std::span<const std::uint8_t> payload) {
  const auto length = static_cast<std::uint32_t>(NLMSG_HDRLEN + payload.size());
  return BytesBuilder()
      .Value(nlmsghdr{length, header.type, header.flags, header.sequence, header.port})
      .Append(payload)
      .Pad()
      .bytes();
}

inline std::vector<std::uint8_t> MakeGenericMessage(const MessageHeader& header,
                                                    std::uint8_t command,
                                                    const AttributeBuilder& attributes) {
  return MakeNetlinkMessage(
      header, BytesBuilder().Value(genlmsghdr{command, 1, 0}).Append(attributes.bytes()).bytes());
}

// Builds an acknowledgement if `error` is 0, otherwise an error, with a text if it is not empty.
// The format is that for a socket with NETLINK_EXT_ACK and NETLINK_CAP_ACK.
inline std::vector<std::uint8_t> MakeErrorMessage(const MessageHeader& answer, std::int32_t error,
                                                  const std::string& text = "") {
  BytesBuilder payload;
  payload.Value(error).Value(nlmsghdr{NLMSG_HDRLEN, 0, 0, answer.sequence, answer.port});
  std::uint16_t flags = NLM_F_CAPPED;
  if (!text.empty()) {
    flags |= NLM_F_ACK_TLVS;
    payload.Append(AttributeBuilder().Text(NLMSGERR_ATTR_MSG, text).bytes());
  }
  return MakeNetlinkMessage({NLMSG_ERROR, flags, answer.sequence, answer.port}, payload.bytes());
}

inline std::vector<std::uint8_t> MakeDoneMessage(const MessageHeader& answer,
                                                 std::int32_t error = 0) {
  return MakeNetlinkMessage({NLMSG_DONE, NLM_F_MULTI, answer.sequence, answer.port},
                            BytesBuilder().Value(error).bytes());
}

}  // namespace orvane::simulation

#endif  // SIMULATION_MESSAGE_BUILDER_H_
