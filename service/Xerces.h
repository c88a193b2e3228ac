#pragma once

/// @file
/// The parser library under the name that the interfaces of this system use.
///
/// This is the only file that knows which version of Xerces-C is installed: everything else writes `xercesc_3_1`.

#include <xercesc/util/XercesDefs.hpp>
#include <xercesc/util/XercesVersion.hpp>

#if XERCES_VERSION_MAJOR != 3 || XERCES_VERSION_MINOR < 1
#error "Xerces-C 3.1 or a later 3.x is needed."
#endif

#if XERCES_VERSION_MINOR != 1
namespace xercesc_3_1 = XERCES_CPP_NAMESPACE;
#endif
