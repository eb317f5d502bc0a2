"""SHA-1 (FIPS 180-4), of a message in pieces and of files."""

from __future__ import annotations

import ctypes
import os

from . import _declarations as c
from ._native import Buffer, Handle, bytes_at, check, get_text, library, utf8

__all__ = ["Sha1"]


class Sha1(Handle):
    """A hash; for one thread at a time.

    with Sha1(b"abc") as sha1:
        print(sha1.text())
    """

    _destroy = library.kr_c_sha1_destroy

    def __init__(self, data: Buffer = b"") -> None:
        super().__init__(library.kr_c_sha1_create)
        self.feed(data)

    def reset(self) -> None:
        """Begins a new message."""
        check(library.kr_c_sha1_reset(self._handle))

    def feed(self, data: Buffer) -> None:
        """After the digest StateError, until reset()."""
        with bytes_at(data) as (address, size):
            check(library.kr_c_sha1_feed(self._handle, address, size))

    def feed_file(self, path: "os.PathLike[str] | str") -> None:
        """After an error it is fed with a part: reset it."""
        given = utf8(os.fspath(path))
        check(library.kr_c_sha1_feed_file(self._handle, given, len(given)))

    def digest(self) -> bytes:
        """Ends the message. 20 bytes, in the order of the standard."""
        digest = ctypes.create_string_buffer(c.KR_C_SHA1_SIZE)
        check(library.kr_c_sha1_digest(self._handle, digest))
        return digest.raw

    def text(self, is_word_reversed: bool = False) -> str:
        """Ends the message. 40 digits in upper case, as other programs show it, or as the services
        exchange it: each word with its lowest byte first."""
        return get_text(library.kr_c_sha1_text, self._handle, is_word_reversed)
