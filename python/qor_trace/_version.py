"""The version of this package: that of the library."""

__version__ = "2.0.0"
