#include "infra/kelExport.hpp"

/// The constant identifies the library file as a component of the host product. The library does not read it.
extern "C" {
KELINFRA_API extern const int sqlzThisIsAZYRLibrary;
const int sqlzThisIsAZYRLibrary = 0;
}
