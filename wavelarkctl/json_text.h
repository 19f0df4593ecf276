#ifndef WAVELARKCTL_JSON_TEXT_H_
#define WAVELARKCTL_JSON_TEXT_H_

#include <nlohmann/json.hpp>
#include <string>

namespace orvane::wavelarkctl {

inline constexpr int kOneLine = -1;

// Returns the text of a JSON value: in one line, or with this indentation. Bytes that are not UTF-8
// become U+FFFD. All but ASCII is escaped, because it may control a terminal.
template <typename Json>
std::string JsonText(const Json& value, int indentation = kOneLine) {
  constexpr bool kAscii = true;
  return value.dump(indentation, ' ', kAscii, Json::error_handler_t::replace);
}

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_JSON_TEXT_H_
