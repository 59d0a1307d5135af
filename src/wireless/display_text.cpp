// Text from the air on its way into a page, where it stands inside HTML and
// inside a JavaScript string at once.
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

// 32 bytes of a network's name at six characters each, and the terminator.
using DisplayText = Text<193>;

void appendDisplayed(char byte, TextBuffer &shown) {
  switch (byte) {
    case '&':
      shown.append("&amp;");
      return;
    case '<':
      shown.append("&lt;");
      return;
    case '>':
      shown.append("&gt;");
      return;
    case '\'':
    case '"':
    case '/':
    case ';':
    case '\\':
    case 127:
      shown.format("&#%d;", byte);
      return;
    default:
      // Bytes from 128 up stay: they may be part of a longer character.
      if (byte > 0 && byte < ' ') {
        shown.format("&#%02d;", byte);
      } else {
        shown.append(&byte, 1);
      }
  }
}

}  // namespace

}  // namespace orba

char *ConverterStringToDisplay(char *text) {
  orba::DisplayText shown;
  for (const char *at = text; *at != '\0'; at++) {
    size_t whole = shown.length();
    orba::appendDisplayed(*at, shown);
    if (!shown.fits()) {
      shown.cutTo(whole);
      break;
    }
  }
  return strcpy(text, shown.text());
}
