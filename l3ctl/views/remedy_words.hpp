/* Remedies in words, with the commands of l3ctl. */
#pragma once

#include <string>
#include <vector>

#include "management/remedy.hpp"

namespace l3ctl {

std::string remedy_words(const management::Remedy& remedy);

/* "DO THIS; DO THAT" */
std::string remedy_words(const std::vector<management::Remedy>& remedies);

}  // namespace l3ctl
