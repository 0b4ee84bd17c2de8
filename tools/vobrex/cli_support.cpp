#include "vobrex/cli_support.h"

#include <cctype>
#include <charconv>
#include <chrono>
#include <fstream>
#include <limits>

namespace vobrex::tool {

std::string Trim(std::string_view text) {
  std::size_t begin = 0, end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return std::string(text.substr(begin, end - begin));
}

bool ParseInteger(std::string_view text, int64_t& value) {
  const std::string t = Trim(text);
  if (t.size() == 3 && t.front() == '\'' && t.back() == '\'') {
    value = static_cast<unsigned char>(t[1]);
    return true;
  }
  std::string_view digits = t;
  bool negative = false;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
    negative = digits.front() == '-';
    digits.remove_prefix(1);
  }
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    base = 16;
    digits.remove_prefix(2);
  }
  if (digits.empty()) return false;
  uint64_t magnitude = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  if (error != std::errc() || end != digits.data() + digits.size()) return false;
  if (magnitude > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
  value = negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
  return true;
}

bool ParseReal(std::string_view text, double& value) {
  std::string t = Trim(text);
  if (!t.empty() && t.front() == '+') t.erase(0, 1);
  if (t.empty()) return false;
  const auto [end, error] = std::from_chars(t.data(), t.data() + t.size(), value);
  return error == std::errc() && end == t.data() + t.size();
}

namespace {

std::vector<std::string> SplitCommas(std::string_view text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = text.find(',', start);
    parts.push_back(
        Trim(text.substr(start, comma == std::string_view::npos ? text.npos : comma - start)));
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return parts;
}

std::string CountError(std::string_view what, std::size_t count, std::string_view text) {
  return std::string(what) + " takes " + std::to_string(count) + " comma-separated values, got '" +
         std::string(text) + "'";
}

}  // namespace

std::vector<int64_t> ParseIntegers(std::string_view text, std::size_t count, std::string_view what,
                                   int64_t lowest, int64_t highest) {
  const std::vector<std::string> parts = SplitCommas(text);
  if (parts.size() != count) throw ToolError(CountError(what, count, text));
  std::vector<int64_t> values;
  for (const std::string& part : parts) {
    int64_t v = 0;
    if (!ParseInteger(part, v)) {
      throw ToolError(std::string(what) + ": '" + part + "' is not an integer");
    }
    if (v < lowest || v > highest) {
      throw ToolError(std::string(what) + ": " + part + " is outside " + std::to_string(lowest) +
                      ".." + std::to_string(highest));
    }
    values.push_back(v);
  }
  return values;
}

std::vector<double> ParseReals(std::string_view text, std::size_t count, std::string_view what) {
  const std::vector<std::string> parts = SplitCommas(text);
  if (parts.size() != count) throw ToolError(CountError(what, count, text));
  std::vector<double> values;
  for (const std::string& part : parts) {
    double v = 0;
    if (!ParseReal(part, v))
      throw ToolError(std::string(what) + ": '" + part + "' is not a number");
    values.push_back(v);
  }
  return values;
}

std::pair<std::string, std::string> SplitAssignment(std::string_view text, std::string_view what) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) {
    throw ToolError(std::string(what) + " expects NAME=VALUE, got '" + std::string(text) + "'");
  }
  return {Trim(text.substr(0, equals)), Trim(text.substr(equals + 1))};
}

void ParseSize(std::string_view text, int& width, int& height) {
  std::string t;
  for (char c : text) {
    if (!std::isspace(static_cast<unsigned char>(c))) t += c;
  }
  const std::size_t x = t.find_first_of("xX");
  int64_t w = 0, h = 0;
  if (x == std::string::npos || !ParseInteger(t.substr(0, x), w) ||
      !ParseInteger(t.substr(x + 1), h) || w < 1 || h < 1 || w > 8192 || h > 8192) {
    throw ToolError("a size is WIDTHxHEIGHT with both from 1 to 8192, got '" + std::string(text) +
                    "'");
  }
  width = static_cast<int>(w);
  height = static_cast<int>(h);
}

std::vector<uint8_t> ReadFileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError("cannot open " + path.string());
  std::vector<uint8_t> bytes;
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  if (size < 0) throw ToolError("cannot read " + path.string());
  in.seekg(0, std::ios::beg);
  bytes.resize(static_cast<std::size_t>(size));
  if (size > 0 && !in.read(reinterpret_cast<char*>(bytes.data()), size)) {
    throw ToolError("cannot read " + path.string());
  }
  return bytes;
}

void WriteFileBytes(const std::filesystem::path& path, const uint8_t* data, std::size_t size) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw ToolError("cannot create " + path.string());
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (!out) throw ToolError("cannot write " + path.string());
}

void WriteTextFile(const std::filesystem::path& path, std::string_view text) {
  WriteFileBytes(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

int64_t NowNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

double MillisecondsSince(int64_t startNanoseconds) {
  return static_cast<double>(NowNanoseconds() - startNanoseconds) / 1e6;
}

}  // namespace vobrex::tool
