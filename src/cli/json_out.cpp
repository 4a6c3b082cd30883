#include "cli/json_out.h"

#include <iostream>

namespace ebf::cli {

void PrintJson(const Json& value, bool oneLine) {
  std::cout << value.dump(oneLine ? -1 : 2, ' ', false, Json::error_handler_t::replace) << "\n";
}

}  // namespace ebf::cli
