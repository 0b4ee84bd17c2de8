// The settings record as text: one "name = value" a line, the field names
// of the public header, '#' starting a comment. `vobrex settings --dump`
// writes it, `--settings FILE` reads it back, and `--set NAME=VALUE` edits
// single fields in the same notation.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vobrex32.h"

namespace vobrex::tool {

// Every field of the 208 bytes, reserved ones included, in record order.
std::vector<std::string> SettingsFieldNames();

// The whole record, every field on its own line; reading it back gives the
// same 208 bytes.
std::string DumpSettings(const CameraModes& modes);

// The value of one field as the dump writes it; throws for unknown names.
std::string SettingsFieldText(const CameraModes& modes, std::string_view name);

// Writes one field. Integers may be decimal, 0x-hexadecimal or a character
// in single quotes; arrays take comma-separated values. Throws ToolError for
// an unknown name or a value the field cannot hold.
void SetSettingsField(CameraModes& modes, std::string_view name, std::string_view value);

// Applies every line of `text` to `modes`; fields the text does not name
// keep their values. Errors name `source` and the line.
void ParseSettings(std::string_view text, const std::string& source, CameraModes& modes);

}  // namespace vobrex::tool
