#define TOML_IMPLEMENTATION
#include "scenario/Toml.h"
