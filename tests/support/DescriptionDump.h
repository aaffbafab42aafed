/// @file
/// What the product and the model read from a description, in a form that can be compared.
#pragma once

#include "tests/support/ModelDescription.h"

#include <string>

class ConfigCali;

namespace support {

/// The product's records in the model's form.
ModelDescription inModelWords(ConfigCali const& description);

/// Every value of a description, floats to their last bit.
std::string dump(ModelDescription const& model);

} // namespace support
