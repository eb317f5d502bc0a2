"""String encryption: against reading in passing alone, for the key is in the library."""

from __future__ import annotations

from ._native import Text, get_bytes, get_text, library, utf8

__all__ = ["decrypt_string", "encrypt_string"]


def encrypt_string(plain: Text) -> str:
    """Hexadecimal digits. Made for texts of letters, digits and ;-,=._ : others are cut when they are
    decrypted."""
    given = utf8(plain)
    return get_text(library.kr_c_encrypt_string, given, len(given))


def decrypt_string(hexadecimal: Text) -> str:
    """Quirk: a text of 8, 16, 24, ... characters comes back without its last one."""
    given = utf8(hexadecimal)
    return get_bytes(library.kr_c_decrypt_string, given, len(given)).decode("latin-1")
