// Includes every public header and instantiates every class template, so that the debug information of this
// object describes all public classes. layout.py reads it.

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelBuildVersion.hpp"
#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelByteBuffer.hpp"
#include "infra/oss/kelConstants.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelIOException.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelOutputStream.hpp"
#include "infra/oss/kelPrintStream.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"
#include "infra/trace/kelTraceFacility.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelBase64Exception.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelMessageCatalogue.hpp"
#include "infra/util/kelPropertiesException.hpp"

template class tarvo::oss::DefaultAlternateBuffer<int>;
template class tarvo::oss::SizeableBuffer<int, 3>;

int main() {}
