/*
 * JSON text as a tree of nodes that know their line, so that a refused value can be pointed at.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "settings/problems.hpp"

namespace settings {

struct Node {
  enum class Kind { null, boolean, number, text, list, object };
  Kind kind = Kind::null;
  size_t line = 0;
  std::string key = {};  /* the name of this member, when its parent is an object */
  bool boolean = false;  /* Kind::boolean */
  std::string text = {}; /* Kind::text: the text; Kind::number: the number as written */
  std::optional<uint64_t> number = {}; /* Kind::number, when it is whole and not negative */
  std::vector<Node> children = {};     /* Kind::list and Kind::object, in the order of the text */
};

/* The value as an error message shows it: one line of plain ASCII, shortened when it is long. */
std::string shown(const Node& node);

/* The line of "section.list[2].key", or of the nearest of its parents that is there. */
size_t line_of_path(const Node& document, std::string_view path);

/* Parses a text; nothing is returned, and a problem is noted, when it is no JSON. */
std::optional<Node> parse_document(std::string_view text, Problems& problems);

}  // namespace settings
