/*
 * One object of a settings text while it is read: members are asked for by name, every fault is noted
 * with the member's path, and at the end every member that was not read is a fault too.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings/document.hpp"
#include "settings/problems.hpp"
#include "settings/values.hpp"

namespace settings {

enum class Need { optional, required };

class Object {
 public:
  /* A node that is no object is a fault; then no member is there, and none is missed. */
  Object(const Node& node, std::string path, Problems& problems);

  /* Each of these returns true, and writes `out`, when the member is there and good. */
  bool flag(std::string_view key, bool& out, Need need = Need::optional);
  bool number(std::string_view key, uint32_t& out);
  bool word(std::string_view key, std::span<const Word> words, uint32_t& out,
            Need need = Need::optional);
  template <typename T>
  bool text(std::string_view key, Parsed<T> (*parse)(std::string_view), T& out,
            Need need = Need::optional);
  /* Hexadecimal bytes; fewer than `out` has leave the rest as it is. */
  bool bytes(std::string_view key, std::span<uint8_t> out);
  /* The members of a list, at most `capacity`; none when it is missing or faulty. */
  std::span<const Node> list(std::string_view key, size_t capacity);
  /* Notes that the member is asked for and returns it, when it is there. */
  const Node* find(std::string_view key, Need need = Need::optional, std::string_view allowed = {});

  void refuse(std::string_view key, const std::string& what);
  void warn(std::string_view key, const std::string& what);
  std::string path_of(std::string_view key) const;

  /* Refuses every member that was not asked for. */
  void end();

 private:
  bool wrong(const Node& member, std::string_view allowed);
  size_t line_of(std::string_view key) const;

  const Node& node_;
  std::string path_;
  Problems& problems_;
  std::vector<std::string_view> known_;
};

/* "path[2]" */
std::string item_path(const std::string& path, size_t index);

/* "{value} is not allowed; it must be {allowed}" */
std::string not_allowed(const Node& node, std::string_view allowed);

template <typename T>
bool Object::text(std::string_view key, Parsed<T> (*parse)(std::string_view), T& out, Need need) {
  const Node* member = find(key, need, need == Need::required ? parse("").allowed : "");
  if (member == nullptr) {
    return false;
  }
  // Whatever is no text is as wrong as an empty text.
  auto parsed = parse(member->kind == Node::Kind::text ? std::string_view(member->text) : "");
  if (!parsed.value || member->kind != Node::Kind::text) {
    return wrong(*member, parsed.value ? "a text" : parsed.allowed);
  }
  out = *std::move(parsed.value);
  return true;
}

}  // namespace settings
