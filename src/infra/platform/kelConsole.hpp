#pragma once

/// The seam between the library and the system's console.
namespace tarvo::platform {

/// GetOEMCP: the number of the console's OEM code page. Where consoles have none it is 437. Never fails.
unsigned int systemOemCodePage() noexcept;

/// The one that the library asks: the system's, unless a test has put another in its place.
using OemCodePage = unsigned int (*)() noexcept;
extern constinit OemCodePage currentOemCodePage;

}  // namespace tarvo::platform
