#include "export/Qor_Trace_Export_ASC.h"
