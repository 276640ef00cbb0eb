#include "infra/kelExport.hpp"

/// Identifies the file as a component of the host product. Nothing here reads it.
extern "C" {
KELINFRA_API extern const int sqlzThisIsAZYRLibrary;
const int sqlzThisIsAZYRLibrary = 0;
}
