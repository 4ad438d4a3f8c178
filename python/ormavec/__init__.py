"""Read, change and write DXF drawings (text or binary)."""
# The installed package: the compiled module lies beside this file, and its
# names are the package's.
from .ormavec import *  # noqa: F401,F403
from .ormavec import __doc__, __version__  # noqa: F401
