"""C-ITS messages between UPER bytes and JSON or XML text.

A thin layer over the itscodec shared library through ctypes::

    import itscodec
    text = itscodec.to_json("CAM", uper_bytes)
    uper_bytes = itscodec.from_json("CAM", text)

``msg`` is one of the seven message names in :data:`MESSAGES`. A failed
conversion raises :class:`Error` with the library's status and report.
The library is looked up once, on first use: the path given to :func:`load`,
else the environment variable ``ITSCODEC_LIBRARY``, else the system loader.
Calls release the interpreter lock, so threads convert in parallel.
"""

from __future__ import annotations

import ctypes
import os
import threading
from typing import Callable, Dict, Optional, Tuple, Union

__version__ = "0.1.0"

__all__ = [
    "MESSAGES",
    "Error",
    "Library",
    "load",
    "to_json",
    "from_json",
    "to_xml",
    "from_xml",
]

#: The messages the library translates, by the names its functions carry.
MESSAGES: Tuple[str, ...] = ("CAM", "DENM", "SPATEM", "MAPEM", "IVIM", "SREM", "SSEM")

#: The library's file name for the system loader (its SONAME).
SONAME = "libitscodec.so.0"

_FORMS = ("json", "xml")
_CharPtr = ctypes.POINTER(ctypes.c_char)
BytesLike = Union[bytes, bytearray, memoryview]
PathLike = Union[str, "os.PathLike[str]"]


class Error(Exception):
    """A conversion failed.

    ``status`` is the library's result: negative, or 2 when the UPER decoder
    met a fragmented length. ``report`` is the library's text: one entry per
    failure, each with its status, text and where it was noticed.
    """

    def __init__(self, status: int, report: str) -> None:
        first = report.splitlines()[1] if report.count("\n") >= 1 else report
        super().__init__(f"status {status}: {first}" if first else f"status {status}")
        self.status = status
        self.report = report


def _check_msg(msg: str) -> str:
    if msg not in MESSAGES:
        raise ValueError(f"unknown message {msg!r}; one of {', '.join(MESSAGES)}")
    return msg


class Library:
    """One loaded copy of the shared library and its 28 functions.

    ``path`` is the library file; without it, ``ITSCODEC_LIBRARY`` from the
    environment, else :data:`SONAME` for the system loader. Raises OSError
    when the library cannot be loaded.
    """

    def __init__(self, path: Optional[PathLike] = None) -> None:
        if path is None:
            path = os.environ.get("ITSCODEC_LIBRARY") or SONAME
        self.path: str = os.fspath(path)
        try:
            # CDLL (not PyDLL): each call releases the interpreter lock.
            dll = ctypes.CDLL(self.path)
        except OSError as e:
            raise OSError(
                f"cannot load the itscodec library {self.path!r} ({e}); give its path "
                "to itscodec.load() or in ITSCODEC_LIBRARY"
            ) from e
        self._dll = dll
        self._delete: Callable[[ctypes.c_void_p], None] = dll.etsi_delete_array
        dll.etsi_delete_array.argtypes = [ctypes.c_void_p]
        dll.etsi_delete_array.restype = None
        self._to: Dict[Tuple[str, str], Callable[..., int]] = {}
        self._from: Dict[Tuple[str, str], Callable[..., int]] = {}
        out = ctypes.POINTER(_CharPtr)
        for msg in MESSAGES:
            for form in _FORMS:
                to = getattr(dll, f"etsi_{msg}_to_{form}")
                to.argtypes = [ctypes.c_char_p, ctypes.c_ulong, out, out, ctypes.c_bool]
                to.restype = ctypes.c_int
                self._to[msg, form] = to
                back = getattr(dll, f"etsi_{msg}_from_{form}")
                back.argtypes = [
                    ctypes.c_char_p,
                    out,
                    ctypes.POINTER(ctypes.c_ulong),
                    out,
                    ctypes.c_bool,
                ]
                back.restype = ctypes.c_int
                self._from[msg, form] = back

    def _release(self, *arrays: _CharPtr) -> None:
        for p in arrays:
            if p:
                self._delete(ctypes.cast(p, ctypes.c_void_p))

    def _fail(self, status: int, err: _CharPtr) -> Error:
        report = ctypes.string_at(err).decode("utf-8", "replace") if err else ""
        return Error(status, report)

    def _to_text(self, msg: str, form: str, data: BytesLike, verbose: bool) -> str:
        fn = self._to[_check_msg(msg), form]
        data = bytes(data)
        text, err = _CharPtr(), _CharPtr()
        try:
            status = fn(data, len(data), ctypes.byref(text), ctypes.byref(err), verbose)
            if status != 0 or not text:
                raise self._fail(status, err)
            return ctypes.string_at(text).decode("utf-8")
        finally:
            self._release(text, err)

    def _from_text(self, msg: str, form: str, text: str, verbose: bool) -> bytes:
        fn = self._from[_check_msg(msg), form]
        if "\0" in text:
            raise ValueError("the text holds a NUL character, where the library would stop")
        encoded, err, length = _CharPtr(), _CharPtr(), ctypes.c_ulong(0)
        try:
            status = fn(
                text.encode("utf-8"),
                ctypes.byref(encoded),
                ctypes.byref(length),
                ctypes.byref(err),
                verbose,
            )
            if status != 0 or not encoded:
                raise self._fail(status, err)
            return ctypes.string_at(encoded, length.value)
        finally:
            self._release(encoded, err)

    def to_json(self, msg: str, data: BytesLike, verbose: bool = False) -> str:
        """The message ``msg`` in UPER bytes ``data`` as JSON text."""
        return self._to_text(msg, "json", data, verbose)

    def from_json(self, msg: str, text: str, verbose: bool = False) -> bytes:
        """The message ``msg`` in JSON ``text`` as UPER bytes."""
        return self._from_text(msg, "json", text, verbose)

    def to_xml(self, msg: str, data: BytesLike, verbose: bool = False) -> str:
        """The message ``msg`` in UPER bytes ``data`` as XML text."""
        return self._to_text(msg, "xml", data, verbose)

    def from_xml(self, msg: str, text: str, verbose: bool = False) -> bytes:
        """The message ``msg`` in XML ``text`` as UPER bytes."""
        return self._from_text(msg, "xml", text, verbose)


_default: Optional[Library] = None
_default_lock = threading.Lock()


def load(path: Optional[PathLike] = None) -> Library:
    """Loads the library (see :class:`Library`) for the module's functions and returns it."""
    global _default
    lib = Library(path)
    with _default_lock:
        _default = lib
    return lib


def _library() -> Library:
    global _default
    with _default_lock:
        if _default is None:
            _default = Library()
        return _default


def to_json(msg: str, data: BytesLike, verbose: bool = False) -> str:
    """The message ``msg`` in UPER bytes ``data`` as JSON text; raises :class:`Error`.

    With ``verbose`` the library prints the bit trace of the decoding on
    standard output.
    """
    return _library().to_json(msg, data, verbose)


def from_json(msg: str, text: str, verbose: bool = False) -> bytes:
    """The message ``msg`` in JSON ``text`` as UPER bytes; raises :class:`Error`."""
    return _library().from_json(msg, text, verbose)


def to_xml(msg: str, data: BytesLike, verbose: bool = False) -> str:
    """The message ``msg`` in UPER bytes ``data`` as XML text; raises :class:`Error`."""
    return _library().to_xml(msg, data, verbose)


def from_xml(msg: str, text: str, verbose: bool = False) -> bytes:
    """The message ``msg`` in XML ``text`` as UPER bytes; raises :class:`Error`."""
    return _library().from_xml(msg, text, verbose)
