// CMake includes every public header in this file, which instantiates every class template. So the debug
// information of this program describes all public classes. layout.py reads it.

template class tarvo::oss::DefaultAlternateBuffer<int>;
template class tarvo::oss::SizeableBuffer<int, 3>;

int main() {}
