"""File names as the library takes them."""
import os
import sys

from ._errors import PathError

# The code page of the Windows calls that take bytes. Python decodes in another one of its own.
CODE_PAGE = "mbcs" if os.name == "nt" else sys.getfilesystemencoding()


def ansi(path, code_page=None):
    """A file name in the ANSI code page of this computer.

    A name that it cannot hold raises PathError: with a similar letter in its place another file would be
    read or written. Bytes are taken as they are.
    """
    name = os.fspath(path)
    if isinstance(name, str):
        try:
            name = name.encode(code_page or CODE_PAGE)
        except UnicodeEncodeError as error:
            raise PathError(
                "%s: %r is not in this computer's ANSI code page, in which the library takes file names; "
                "choose another name" % (path, error.object[error.start:error.end])) from None
    if not name or b"\0" in name:
        raise PathError("%r is no file name" % (path,))
    return name
