"""Short names for the types of arrays."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

Bytes = NDArray[np.uint8]
Offsets = NDArray[np.int64]
Rows = NDArray[np.void]
Numbers = NDArray[Any]
