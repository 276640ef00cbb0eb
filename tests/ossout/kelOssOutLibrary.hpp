#pragma once

/// Makes the program need the library, so that it is loaded with it. Returns 3.
int threeOfTheLibrary();
