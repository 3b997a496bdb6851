"""Speak texts into WAVE files through libtavn.so.

synth() speaks a text (or a text file) into an audio file;
synth_with_timings() also returns every sentence with its start time.  Both
raise TavnError, carrying the library's result code and its name, when the
library or the speech engine fails.  Safe to call from many threads at once.
"""

import ctypes
import ctypes.util
import os
import threading
from typing import List, NamedTuple, Optional, Union

from ._codes import result_name
from ._synch import read_sentences

__all__ = ["synth", "synth_with_timings", "Sentence", "TavnError"]

StrOrBytes = Union[str, bytes, "os.PathLike[str]"]

_MAX_TEXT_BYTES = 65536  # the library reads no more


class TavnError(Exception):
    """The library or the engine failed: .code is the 32-bit result code,
    .name its name ("TAVN_ERR_OPEN_FILE", or "UNKNOWN" for another engine's code)."""

    def __init__(self, code: int):
        self.code = code
        self.name = result_name(code)
        super().__init__(f"0x{code:08x} {self.name}")


class Sentence(NamedTuple):
    start: float  # seconds from the start of the audio (inf or nan for formats without a bit rate)
    text: str     # the sentence as spoken (UTF-8; invalid bytes replaced)


_lock = threading.Lock()
_lib = None


def _library():
    """libtavn.so, loaded once: TAVN_LIBRARY, else the system's library path."""
    global _lib
    with _lock:
        if _lib is None:
            path = os.environ.get("TAVN_LIBRARY") or "libtavn.so"
            try:
                lib = ctypes.CDLL(path)
            except OSError:
                found = None if os.environ.get("TAVN_LIBRARY") else ctypes.util.find_library("tavn")
                if found is None:
                    raise OSError(f"cannot load {path}: set TAVN_LIBRARY to the path of libtavn.so "
                                  "or install it on the library path") from None
                lib = ctypes.CDLL(found)
            c = ctypes.c_char_p
            lib.TalvernSynth.argtypes = [c, ctypes.c_bool, c, c, c, c]
            lib.TalvernSynth.restype = ctypes.c_uint32
            lib.TavnSynthSyn.argtypes = [c, ctypes.c_bool, c, c, c, c, c,
                                         ctypes.POINTER(ctypes.POINTER(ctypes.c_char)), ctypes.c_int]
            lib.TavnSynthSyn.restype = ctypes.c_uint32
            _lib = lib
        return _lib


def _bytes(value, what: str, optional: bool = False) -> Optional[bytes]:
    if value is None and optional:
        return None
    if isinstance(value, str):
        data = value.encode("utf-8")
    elif isinstance(value, (bytes, bytearray)):
        data = bytes(value)
    elif isinstance(value, os.PathLike):
        data = os.fsencode(value)
    else:
        raise TypeError(f"{what} must be str or bytes, not {type(value).__name__}")
    if b"\0" in data:
        raise ValueError(f"{what} holds a zero byte; the library would stop reading there")
    return data


def _request(text, out_file, is_file, conn1, conn2, params):
    return (_bytes(text, "text"), bool(is_file), _bytes(out_file, "out_file"),
            _bytes(conn1, "conn1", True), _bytes(conn2, "conn2", True), _bytes(params, "params", True))


def synth(text: StrOrBytes, out_file: StrOrBytes, *, is_file: bool = False,
          conn1: Optional[StrOrBytes] = None, conn2: Optional[StrOrBytes] = None,
          params: Optional[StrOrBytes] = None) -> None:
    """Speaks `text` (or, with is_file, the contents of the file it names; at
    most 65536 bytes are used) into `out_file`.  conn1, conn2 and params go
    to the engine (31, 47 and 127 bytes used).  Raises TavnError."""
    code = _library().TalvernSynth(*_request(text, out_file, is_file, conn1, conn2, params))
    if code != 0:
        raise TavnError(code)


def synth_with_timings(text: StrOrBytes, out_file: StrOrBytes, *, is_file: bool = False,
                       conn1: Optional[StrOrBytes] = None, conn2: Optional[StrOrBytes] = None,
                       params: Optional[StrOrBytes] = None, media_url: StrOrBytes = "") -> List[Sentence]:
    """As synth(), and returns the sentences with their start times, read
    from the library's synch text (whose MediaUrl is media_url)."""
    request = _request(text, out_file, is_file, conn1, conn2, params)
    url = _bytes(media_url, "media_url")
    if is_file:
        try:
            size = min(os.stat(request[0]).st_size, _MAX_TEXT_BYTES)
        except OSError:
            size = 0  # the library reports the unreadable file
    else:
        size = min(len(request[0]), _MAX_TEXT_BYTES)
    # Head, then per sentence (at most one per two bytes) a record of about
    # 60 characters plus its text, then the tail: never too small.
    capacity = 1024 + size + 80 * (size // 2 + 2)
    buffer = ctypes.create_string_buffer(capacity + 1)  # the terminator may land one past capacity
    pointer = ctypes.cast(buffer, ctypes.POINTER(ctypes.c_char))
    code = _library().TavnSynthSyn(*request, url, ctypes.byref(pointer), capacity)
    if code != 0:
        raise TavnError(code)
    sentences = read_sentences(buffer.value, url, request[2])
    if sentences is None:
        raise ValueError("the library's synch text is not in the expected form")
    return [Sentence(seconds, text.decode("utf-8", "replace")) for seconds, text in sentences]
