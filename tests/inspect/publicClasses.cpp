// Includes every public header and instantiates every class template, so that the debug information of this
// program describes all public classes. layout.py reads it.

#include "publicHeaders.hpp"

template class tarvo::oss::DefaultAlternateBuffer<int>;
template class tarvo::oss::SizeableBuffer<int, 3>;

int main() {}
