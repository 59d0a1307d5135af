// What a device ran, as one text to compare and read.
#ifndef ORBA_TESTS_FIREWALL_TRANSCRIPT_H
#define ORBA_TESTS_FIREWALL_TRANSCRIPT_H

#include <string>

#include "sim/device.h"

// The commands in order, one a line.
inline std::string transcript(const sim::Device &device) {
  std::string lines;
  for (const std::string &command : device.commands()) lines += command + "\n";
  return lines;
}

// A raw string literal that begins on a line of its own.
inline std::string lines(const char *text) {
  return *text == '\n' ? text + 1 : text;
}

#endif
