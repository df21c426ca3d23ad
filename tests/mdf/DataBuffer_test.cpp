#include "support/MdfFiles.h"
