"""A private router and server for one market file, alive for as long as the session is."""

from __future__ import annotations

import os
import secrets
import shutil
import signal
import subprocess
import tempfile
from pathlib import Path
from typing import IO

from .command import command_path
from .errors import InputError, ServerError

_USER = "USER01"
_END_SECONDS = 15

# The server ends, and its folder goes, when the pipe to the keeper closes: at the end of the session, or when this
# process ends in any way.
_KEEPER = """
folder=$1; shift
trap : TERM INT HUP
"$@" & server=$!
exec >&-
read -r end
kill "$server" 2>/dev/null
wait "$server"
rm -rf "$folder"
"""


class PrivateServer:
    """Router and server of our own, on loopback at a free port, with a copy of the market file.

    Raises InputError when the market file is not there, ServerError when the server does not start.
    """

    def __init__(self, market: str | os.PathLike[str], timeout: float) -> None:
        self.user = _USER
        self.password = secrets.token_hex(16)
        if not Path(market).is_file():
            raise InputError("market", f"{os.fspath(market)} is no file")
        self._folder = Path(tempfile.mkdtemp(prefix="quindalim-"))
        self._keeper: subprocess.Popen[str] | None = None
        try:
            shutil.copyfile(market, self._folder / "market.xml")
            self.port = self._start()
            self.ini = self._folder / "quindal.ini"
            self.ini.write_text(f"[QuindalIM::mq]\nport = {self.port}\ntimeout = {int(timeout * 1000)}\n")
        except BaseException:
            self.close()
            raise

    def _start(self) -> int:
        users = self._folder / "users.csv"
        users.touch(0o600)
        users.write_text(f"user,part_count,login_type,password\n{self.user},,,{self.password}\n")
        words = [command_path(), "serve", "--instruments", str(self._folder / "market.xml"), "--users", str(users)]
        with open(self._folder / "said", "w+", encoding="utf-8", errors="replace") as said:
            self._keeper = subprocess.Popen(
                ["/bin/sh", "-c", _KEEPER, "sh", str(self._folder), *words],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=said,
                text=True,
                start_new_session=True,  # Ctrl-C is for the program, which ends the session
            )
            line = _pipe(self._keeper.stdout).readline().split()
            if line and line[-1].isdecimal():
                return int(line[-1])
            self._end_keeper()
            said.seek(0)  # open, though its folder is gone
            raise ServerError(said.read().strip() or "the private server ended without a word")

    @property
    def process_id(self) -> int | None:
        """Process id of the server's keeper, None after the end."""
        return self._keeper.pid if self._keeper else None

    def _end_keeper(self) -> None:
        keeper, self._keeper = self._keeper, None
        if keeper is None:
            return
        _pipe(keeper.stdin).close()
        try:
            keeper.wait(_END_SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(keeper.pid, signal.SIGKILL)
            keeper.wait()
        _pipe(keeper.stdout).close()

    def close(self) -> None:
        """Ends the server and its router, and removes their files."""
        self._end_keeper()
        shutil.rmtree(self._folder, ignore_errors=True)


def _pipe(pipe: IO[str] | None) -> IO[str]:
    assert pipe is not None
    return pipe
