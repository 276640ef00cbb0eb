#pragma once

#include <string>

namespace tarvo::test {

/// Edits the text and reads it again with `ExtendedProperties`. Returns the law of `PropertiesEditor` that is
/// broken, or an empty text. The key is set to the value, set again, and removed.
std::string brokenEditorLaw(const std::string& bytes, const std::u16string& key, const std::u16string& value);

/// Runs the operations that `choices` encodes on one editor, and compares it with a new editor of the same
/// bytes after each.
std::string brokenEditorWalk(const std::string& bytes, const std::string& choices);

}  // namespace tarvo::test
