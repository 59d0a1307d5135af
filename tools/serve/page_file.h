// The files of the page, as the build put them into the program.
#ifndef ORBA_TOOLS_SERVE_PAGE_FILE_H
#define ORBA_TOOLS_SERVE_PAGE_FILE_H

#include <string_view>
#include <vector>

namespace orba::tool {

struct PageFile {
  const char *path;  // "/app.js"
  const char *type;
  std::string_view content;
};

const std::vector<PageFile> &pageFiles();

}  // namespace orba::tool

#endif
