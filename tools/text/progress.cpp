#include "tools/text/progress.h"

#include <unistd.h>

#include <iostream>

namespace orba::tool {

ProgressLine::~ProgressLine() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
}

void ProgressLine::show(size_t done, size_t all) {
  const bool long_since = std::chrono::steady_clock::now() - begun_ > std::chrono::seconds(1);
  if (!long_since || isatty(STDERR_FILENO) == 0) return;
  std::cerr << "\r" << done << " of " << all << " " << of_what_ << std::flush;
  shown_ = true;
}

}  // namespace orba::tool
