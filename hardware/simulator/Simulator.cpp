#include "qor_sim.h"
#include "qor_api.h"
