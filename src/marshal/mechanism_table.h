// The parameter of each mechanism.
#pragma once

#include "bridge/cryptoki.h"

struct ParameterDescriptor;

/// The descriptor of a mechanism's parameter (parameters.h). A mechanism without a row has no
/// parameter, or a PKCS11RawParameter.
const ParameterDescriptor& parameterDescriptor(CK_MECHANISM_TYPE mechanism);
