// Small helpers shared by the subcommands: the error every command reports,
// and the parsing of the comma-separated values the setters take.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vobrex::tool {

// A problem with the user's input or files; main prints it and exits with 2.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses a whole decimal or 0x-hexadecimal integer, or a character literal
// such as '3'; false when the text is anything else.
bool ParseInteger(std::string_view text, int64_t& value);
bool ParseReal(std::string_view text, double& value);

// Splits "a,b,c" and checks the count; `what` names the option in errors.
std::vector<int64_t> ParseIntegers(std::string_view text, std::size_t count, std::string_view what,
                                   int64_t lowest, int64_t highest);
std::vector<double> ParseReals(std::string_view text, std::size_t count, std::string_view what);

// Splits "NAME=VALUE" at the first '='; throws when there is none.
std::pair<std::string, std::string> SplitAssignment(std::string_view text, std::string_view what);

std::string Trim(std::string_view text);

// "640x480" (or "640 x 480").
void ParseSize(std::string_view text, int& width, int& height);

std::vector<uint8_t> ReadFileBytes(const std::filesystem::path& path);
void WriteFileBytes(const std::filesystem::path& path, const uint8_t* data, std::size_t size);
void WriteTextFile(const std::filesystem::path& path, std::string_view text);

// Milliseconds since `start` with a fraction.
double MillisecondsSince(int64_t startNanoseconds);
int64_t NowNanoseconds();

}  // namespace vobrex::tool
