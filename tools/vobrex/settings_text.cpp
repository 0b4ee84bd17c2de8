#include "vobrex/settings_text.h"

#include <charconv>
#include <cstddef>
#include <cstring>
#include <limits>
#include <set>

#include "vobrex/cli_support.h"

namespace vobrex::tool {

namespace {

enum class Kind { kU8, kChar, kI16, kU16, kI32, kU32, kF64 };

struct Field {
  const char* name;
  std::size_t offset;
  Kind kind;
  int count;  // elements; more than 1 for the arrays
};

#define VOBREX_FIELD(name, kind) \
  Field { #name, offsetof(CameraModes, name), kind, 1 }
#define VOBREX_ARRAY(name, kind, n) \
  Field { #name, offsetof(CameraModes, name), kind, n }

constexpr Field kFields[] = {
    VOBREX_FIELD(width, Kind::kI16),         VOBREX_FIELD(height, Kind::kI16),
    VOBREX_FIELD(imageBytes, Kind::kU32),    VOBREX_FIELD(resolution, Kind::kU8),
    VOBREX_FIELD(reserved9, Kind::kU8),      VOBREX_FIELD(sensorMode, Kind::kU8),
    VOBREX_FIELD(outputFormat, Kind::kU8),   VOBREX_FIELD(wideRange, Kind::kU8),
    VOBREX_FIELD(mirror, Kind::kU8),         VOBREX_FIELD(reserved14, Kind::kU8),
    VOBREX_FIELD(flip, Kind::kU8),           VOBREX_FIELD(sharpenOn, Kind::kU32),
    VOBREX_FIELD(defectFixOn, Kind::kU32),   VOBREX_FIELD(contrast, Kind::kI32),
    VOBREX_FIELD(brightness, Kind::kI32),    VOBREX_FIELD(gamma, Kind::kI32),
    VOBREX_FIELD(toneLevel1, Kind::kI32),    VOBREX_FIELD(toneLevel2, Kind::kI32),
    VOBREX_FIELD(toneLevel3, Kind::kI32),    VOBREX_FIELD(optionQ, Kind::kU8),
    VOBREX_ARRAY(reserved49, Kind::kU8, 3),  VOBREX_FIELD(optionR, Kind::kU32),
    VOBREX_FIELD(optionS, Kind::kU32),       VOBREX_FIELD(focusX, Kind::kU32),
    VOBREX_FIELD(focusY, Kind::kU32),        VOBREX_ARRAY(reserved68, Kind::kU8, 4),
    VOBREX_FIELD(focusValue, Kind::kF64),    VOBREX_FIELD(stillFilter, Kind::kU32),
    VOBREX_FIELD(optionV, Kind::kU32),       VOBREX_FIELD(vfwWideRange, Kind::kU8),
    VOBREX_FIELD(wbStatus, Kind::kU8),       VOBREX_FIELD(wbStatus2, Kind::kU8),
    VOBREX_FIELD(gainAdjust, Kind::kU8),     VOBREX_FIELD(ratioR, Kind::kU16),
    VOBREX_FIELD(ratioG, Kind::kU16),        VOBREX_FIELD(ratioB, Kind::kU16),
    VOBREX_ARRAY(reserved98, Kind::kU8, 6),  VOBREX_FIELD(wbFactorR, Kind::kF64),
    VOBREX_FIELD(wbFactorG, Kind::kF64),     VOBREX_FIELD(wbFactorB, Kind::kF64),
    VOBREX_FIELD(wbMemo, Kind::kI32),        VOBREX_ARRAY(semiFactors, Kind::kI32, 7),
    VOBREX_FIELD(optionF, Kind::kU8),        VOBREX_FIELD(reserved161, Kind::kU8),
    VOBREX_ARRAY(reserved162, Kind::kU8, 2), VOBREX_FIELD(reserved164, Kind::kU16),
    VOBREX_FIELD(reserved166, Kind::kU16),   VOBREX_FIELD(sharpenAllow, Kind::kU8),
    VOBREX_ARRAY(reserved169, Kind::kU8, 3), VOBREX_FIELD(sharpShift, Kind::kI32),
    VOBREX_FIELD(sharpDivisor3, Kind::kI32), VOBREX_FIELD(sharpDivisor7, Kind::kI32),
    VOBREX_FIELD(sharpCoring, Kind::kI32),   VOBREX_FIELD(wbOnly, Kind::kI32),
    VOBREX_FIELD(wbMode, Kind::kI32),        VOBREX_FIELD(framing, Kind::kChar),
    VOBREX_ARRAY(reserved197, Kind::kU8, 3), VOBREX_FIELD(wbExtra, Kind::kI32),
    VOBREX_FIELD(gainTable, Kind::kU8),      VOBREX_FIELD(sharpMode, Kind::kU8),
    VOBREX_FIELD(optionN, Kind::kU8),        VOBREX_FIELD(sharpness, Kind::kU8),
};

#undef VOBREX_FIELD
#undef VOBREX_ARRAY

constexpr std::size_t FieldBytes(Kind kind) {
  switch (kind) {
    case Kind::kU8:
    case Kind::kChar: return 1;
    case Kind::kI16:
    case Kind::kU16: return 2;
    case Kind::kI32:
    case Kind::kU32: return 4;
    case Kind::kF64: return 8;
  }
  return 0;
}

constexpr std::size_t CoveredBytes() {
  std::size_t total = 0;
  for (const Field& f : kFields) total += FieldBytes(f.kind) * static_cast<std::size_t>(f.count);
  return total;
}
static_assert(CoveredBytes() == sizeof(CameraModes), "the text names every byte of the record");

const Field* FindField(std::string_view name) {
  for (const Field& f : kFields) {
    if (name == f.name) return &f;
  }
  return nullptr;
}

const Field& RequireField(std::string_view name) {
  const Field* field = FindField(name);
  if (field == nullptr) {
    throw ToolError("unknown settings field '" + std::string(name) +
                    "' (`vobrex settings --dump` lists them all)");
  }
  return *field;
}

void Range(Kind kind, int64_t& lowest, int64_t& highest) {
  switch (kind) {
    case Kind::kU8:
    case Kind::kChar: lowest = 0, highest = 255; return;
    case Kind::kI16: lowest = INT16_MIN, highest = INT16_MAX; return;
    case Kind::kU16: lowest = 0, highest = UINT16_MAX; return;
    case Kind::kI32: lowest = INT32_MIN, highest = INT32_MAX; return;
    case Kind::kU32: lowest = 0, highest = UINT32_MAX; return;
    case Kind::kF64: lowest = highest = 0; return;
  }
}

std::string ElementText(const uint8_t* at, Kind kind) {
  switch (kind) {
    case Kind::kU8: return std::to_string(*at);
    case Kind::kChar:
      if (*at >= 0x21 && *at < 0x7f && *at != '\'' && *at != '#')
        return std::string("'") + char(*at) + "'";
      return std::to_string(*at);
    case Kind::kI16: {
      int16_t v;
      std::memcpy(&v, at, sizeof v);
      return std::to_string(v);
    }
    case Kind::kU16: {
      uint16_t v;
      std::memcpy(&v, at, sizeof v);
      return std::to_string(v);
    }
    case Kind::kI32: {
      int32_t v;
      std::memcpy(&v, at, sizeof v);
      return std::to_string(v);
    }
    case Kind::kU32: {
      uint32_t v;
      std::memcpy(&v, at, sizeof v);
      return std::to_string(v);
    }
    case Kind::kF64: {
      double v;
      std::memcpy(&v, at, sizeof v);
      char buffer[64];
      // The shortest text that reads back as the same double.
      const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
      return std::string(buffer, result.ptr);
    }
  }
  return {};
}

void StoreElement(uint8_t* at, const Field& field, std::string_view text) {
  if (field.kind == Kind::kF64) {
    double v = 0;
    if (!ParseReal(text, v)) {
      throw ToolError("'" + std::string(field.name) + "' takes a number, got '" +
                      std::string(text) + "'");
    }
    std::memcpy(at, &v, sizeof v);
    return;
  }
  int64_t v = 0, lowest = 0, highest = 0;
  Range(field.kind, lowest, highest);
  if (!ParseInteger(text, v) || v < lowest || v > highest) {
    throw ToolError("'" + std::string(field.name) + "' takes an integer from " +
                    std::to_string(lowest) + " to " + std::to_string(highest) + ", got '" +
                    Trim(text) + "'");
  }
  switch (FieldBytes(field.kind)) {
    case 1: *at = static_cast<uint8_t>(v); break;
    case 2: {
      const auto w = static_cast<uint16_t>(v);
      std::memcpy(at, &w, sizeof w);
      break;
    }
    default: {
      const auto w = static_cast<uint32_t>(v);
      std::memcpy(at, &w, sizeof w);
      break;
    }
  }
}

}  // namespace

std::vector<std::string> SettingsFieldNames() {
  std::vector<std::string> names;
  for (const Field& f : kFields) names.emplace_back(f.name);
  return names;
}

std::string SettingsFieldText(const CameraModes& modes, std::string_view name) {
  const Field& field = RequireField(name);
  const auto* base = reinterpret_cast<const uint8_t*>(&modes) + field.offset;
  std::string text;
  for (int i = 0; i < field.count; ++i) {
    if (i > 0) text += ", ";
    text += ElementText(base + i * FieldBytes(field.kind), field.kind);
  }
  return text;
}

std::string DumpSettings(const CameraModes& modes) {
  std::string text =
      "# vobrex settings record (CameraModes, 208 bytes): one \"name = value\" a line.\n"
      "# Fields left out keep their defaults when the file is read back.\n";
  for (const Field& f : kFields) {
    text += f.name;
    text += " = ";
    text += SettingsFieldText(modes, f.name);
    text += '\n';
  }
  return text;
}

void SetSettingsField(CameraModes& modes, std::string_view name, std::string_view value) {
  const Field& field = RequireField(name);
  std::vector<std::string> parts;
  if (field.count == 1) {
    parts.push_back(Trim(value));
  } else {
    std::size_t start = 0;
    while (true) {
      const std::size_t comma = value.find(',', start);
      parts.push_back(Trim(value.substr(start, comma == value.npos ? value.npos : comma - start)));
      if (comma == value.npos) break;
      start = comma + 1;
    }
    if (parts.size() != static_cast<std::size_t>(field.count)) {
      throw ToolError("'" + std::string(field.name) + "' takes " + std::to_string(field.count) +
                      " comma-separated values, got " + std::to_string(parts.size()));
    }
  }
  // Parse every element before storing any, so that a bad value leaves the
  // record untouched.
  CameraModes edited = modes;
  auto* base = reinterpret_cast<uint8_t*>(&edited) + field.offset;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    StoreElement(base + i * FieldBytes(field.kind), field, parts[i]);
  }
  modes = edited;
}

void ParseSettings(std::string_view text, const std::string& source, CameraModes& modes) {
  std::set<std::string> seen;
  std::size_t lineNumber = 0;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t end = text.find('\n', start);
    std::string_view line = text.substr(start, end == text.npos ? text.npos : end - start);
    start = end == text.npos ? text.size() + 1 : end + 1;
    ++lineNumber;
    const std::size_t hash = line.find('#');
    const std::string content = Trim(line.substr(0, hash));
    if (content.empty()) continue;
    const std::string where = source + ":" + std::to_string(lineNumber) + ": ";
    const std::size_t equals = content.find('=');
    if (equals == std::string::npos) {
      throw ToolError(where + "expected 'name = value', got '" + content + "'");
    }
    const std::string name = Trim(std::string_view(content).substr(0, equals));
    const std::string value = Trim(std::string_view(content).substr(equals + 1));
    try {
      if (!seen.insert(name).second) throw ToolError("'" + name + "' is set twice");
      SetSettingsField(modes, name, value);
    } catch (const ToolError& e) {
      throw ToolError(where + e.what());
    }
  }
}

}  // namespace vobrex::tool
