#include "tools/catalog/finding.h"

#include "tools/catalog/settings.h"
#include "tools/text/lines.h"

namespace orba::tool {

std::string Finding::fieldName() const {
  const SettingDescription *setting = descriptionOf(key, space);
  const Field *known = setting != nullptr ? setting->form.field(field) : nullptr;
  return known != nullptr ? known->name : "";
}

std::string Finding::line() const {
  std::string text = key;
  if (space != 1) text += " in space " + std::to_string(space);
  if (record > 0) text += ", record " + std::to_string(record);
  if (field > 0) text += ", field " + std::to_string(field) + " (" + fieldName() + ")";
  text += ": \"" + visible(value) + "\" " + reason + "; it " + effect;
  return witness.empty() ? text : text + ", such as " + visible(witness);
}

}  // namespace orba::tool
