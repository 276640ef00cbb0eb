#pragma once

/// The platform layer's access to the console.
namespace tarvo::platform {

/// Returns the number of the console's OEM code page, as GetOEMCP does on Windows; 437 on systems without
/// such code pages. Never fails.
unsigned int systemOemCodePage() noexcept;

/// The function that the library calls: `systemOemCodePage`, unless a test has replaced it.
using OemCodePage = unsigned int (*)() noexcept;
extern constinit OemCodePage currentOemCodePage;

}  // namespace tarvo::platform
