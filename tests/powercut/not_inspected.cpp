#include "inspected.hpp"

void inspect(const std::string&, Torn, const std::vector<std::string>&) {}
