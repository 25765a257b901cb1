#include "settings/object.hpp"

#include <algorithm>
#include <cctype>
#include <limits>

namespace settings {

namespace {

/* "a", "b" or "c" */
std::string listed(std::span<const Word> words) {
  std::string text;
  for (size_t i = 0; i < words.size(); ++i) {
    const char* joint = i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
    text += joint + ("\"" + std::string(words[i].text) + "\"");
  }
  return text;
}

/* A name as it is, or quoted when it is no plain word: it comes from outside. */
std::string shown_key(std::string_view key) {
  const bool is_plain = std::all_of(key.begin(), key.end(), [](unsigned char c) {
    return c == '_' || c == '-' || (c < 0x80 && std::isalnum(c) != 0);
  });
  return is_plain && !key.empty() && key.size() <= 40
             ? std::string(key)
             : shown({.kind = Node::Kind::text, .text = std::string(key)});
}

}  // namespace

std::string item_path(const std::string& path, size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

std::string not_allowed(const Node& node, std::string_view allowed) {
  return shown(node) + " is not allowed; it must be " + std::string(allowed);
}

Object::Object(const Node& node, std::string path, Problems& problems)
    : node_(node), path_(std::move(path)), problems_(problems) {
  if (node.kind != Node::Kind::object) {
    problems_.refuse(node.line, path_, not_allowed(node, "an object"));
    return;
  }
  for (size_t i = 0; i < node.children.size(); ++i) {
    const Node& member = node.children[i];
    const auto first = std::find_if(node.children.begin(), node.children.end(),
                                    [&](const Node& other) { return other.key == member.key; });
    if (&*first != &member) {
      problems_.refuse(member.line, path_of(member.key),
                       "given twice; the first is in line " + std::to_string(first->line));
    }
  }
}

std::string Object::path_of(std::string_view key) const {
  return path_.empty() ? shown_key(key) : path_ + "." + shown_key(key);
}

size_t Object::line_of(std::string_view key) const {
  for (const Node& member : node_.children) {
    if (member.key == key) {
      return member.line;
    }
  }
  return node_.line;
}

const Node* Object::find(std::string_view key, Need need, std::string_view allowed) {
  if (std::find(known_.begin(), known_.end(), key) == known_.end()) {
    known_.push_back(key);
  }
  if (node_.kind != Node::Kind::object) {
    return nullptr;
  }
  for (const Node& member : node_.children) {
    if (member.key == key) {
      return &member;
    }
  }
  if (need == Need::required) {
    refuse(key, "missing; it must be " + std::string(allowed));
  }
  return nullptr;
}

bool Object::wrong(const Node& member, std::string_view allowed) {
  problems_.refuse(member.line, path_of(member.key), not_allowed(member, allowed));
  return false;
}

void Object::refuse(std::string_view key, const std::string& what) {
  problems_.refuse(line_of(key), path_of(key), what);
}

void Object::warn(std::string_view key, const std::string& what) {
  problems_.warn(line_of(key), path_of(key), what);
}

bool Object::flag(std::string_view key, bool& out, Need need) {
  const Node* member = find(key, need, "true or false");
  if (member == nullptr) {
    return false;
  }
  if (member->kind != Node::Kind::boolean) {
    return wrong(*member, "true or false");
  }
  out = member->boolean;
  return true;
}

bool Object::number(std::string_view key, uint32_t& out) {
  const Node* member = find(key);
  if (member == nullptr) {
    return false;
  }
  if (!member->number || *member->number > std::numeric_limits<uint32_t>::max()) {
    return wrong(*member, "a whole number from 0 to 4294967295");
  }
  out = static_cast<uint32_t>(*member->number);
  return true;
}

bool Object::word(std::string_view key, std::span<const Word> words, uint32_t& out, Need need) {
  const Node* member = find(key, need, listed(words));
  if (member == nullptr) {
    return false;
  }
  for (const Word& word : words) {
    if (member->kind == Node::Kind::text && member->text == word.text) {
      out = word.value;
      return true;
    }
  }
  return wrong(*member, listed(words));
}

bool Object::bytes(std::string_view key, std::span<uint8_t> out) {
  const Node* member = find(key);
  if (member == nullptr) {
    return false;
  }
  const auto parsed = parse_hex(member->text);
  if (member->kind != Node::Kind::text || !parsed.value || parsed.value->size() > out.size()) {
    return wrong(*member, "pairs of hexadecimal digits, at most " + std::to_string(out.size()));
  }
  std::copy(parsed.value->begin(), parsed.value->end(), out.begin());
  return true;
}

std::span<const Node> Object::list(std::string_view key, size_t capacity) {
  const Node* member = find(key);
  if (member == nullptr) {
    return {};
  }
  if (member->kind != Node::Kind::list) {
    wrong(*member, "a list");
    return {};
  }
  if (member->children.size() > capacity) {
    // Told once, and the entries that would fit are still looked at.
    refuse(key, std::to_string(member->children.size()) + " entries; there is room for " +
                    std::to_string(capacity));
    return std::span(member->children).first(capacity);
  }
  return member->children;
}

void Object::end() {
  if (node_.kind != Node::Kind::object) {
    return;
  }
  for (const Node& member : node_.children) {
    if (std::find(known_.begin(), known_.end(), member.key) != known_.end()) {
      continue;
    }
    std::string names;
    for (const std::string_view key : known_) {
      names += (names.empty() ? "" : ", ") + std::string(key);
    }
    problems_.refuse(member.line, path_of(member.key), "unknown; known here: " + names);
  }
}

}  // namespace settings
