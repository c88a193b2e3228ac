#pragma once

/// @file
/// The namespace `xercesc_3_1`, an alias of the namespace of the installed Xerces-C.
///
/// Only this file depends on the installed version: all other code uses `xercesc_3_1`.

#include <type_traits>
#include <xercesc/util/XercesDefs.hpp>
#include <xercesc/util/XercesVersion.hpp>

#if XERCES_VERSION_MAJOR != 3 || XERCES_VERSION_MINOR != 2
#error "Xerces-C 3.2 is needed."
#endif

static_assert(std::is_same_v<XMLCh, char16_t>, "Xerces-C must be built with char16_t as its character type.");

namespace xercesc_3_1 = XERCES_CPP_NAMESPACE;
