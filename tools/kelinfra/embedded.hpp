#pragma once

#include <string_view>

/// Files of the project that are parts of the program. CMake writes the source.
namespace kelinfra::embedded {

extern const std::string_view version;
extern const std::string_view libraryIdentifiers;
extern const std::string_view libraryEnglish;
extern const std::string_view libraryGerman;
extern const std::string_view libraryJapanese;
extern const std::string_view toolEnglish;
extern const std::string_view toolGerman;
extern const std::string_view toolJapanese;

}  // namespace kelinfra::embedded
