#pragma once

/// @file
/// The namespace `xercesc_3_1`, an alias of the namespace of the installed Xerces-C.
///
/// Only this file depends on the installed version: all other code uses `xercesc_3_1`.

#include <xercesc/util/XercesDefs.hpp>
#include <xercesc/util/XercesVersion.hpp>

#if XERCES_VERSION_MAJOR != 3 || XERCES_VERSION_MINOR < 1
#error "Xerces-C 3.1 or a later 3.x is needed."
#endif

#if XERCES_VERSION_MINOR != 1
namespace xercesc_3_1 = XERCES_CPP_NAMESPACE;
#endif
