#!/usr/bin/env python3
"""A small service of a device: client 8 keeps a phone book and answers requests.

    service.py [--id ID] [--port PORT] [--book FILE]

It waits for the server to start, comes back when the server was started again, and ends on SIGTERM or Ctrl-C. A request is a
line of text, and so is its answer:

    set NAME NUMBER     ok
    get NAME            the number, or: not found
    list                the names, with blanks between them
    anything else       error: what is wrong

Try it with: jay request --id 5 --to 8 'set anna 02-312-4455'
"""
from __future__ import annotations

import argparse
import asyncio
import json
import os
import signal
import sys
from pathlib import Path

from jaybus import DEFAULT_PORT, MAX_PAYLOAD, BusError, Client, ItemError


class PhoneBook:
    """Names and numbers, in a file that is whole at any time."""

    def __init__(self, file: Path) -> None:
        self._file = file
        self._numbers: dict[str, str] = json.loads(file.read_text()) if file.exists() else {}

    def answer(self, request: str) -> str:
        command, *words = request.split() or [""]
        if command == "set" and len(words) == 2:
            self._save({**self._numbers, words[0]: words[1]})
            return "ok"
        if command == "get" and len(words) == 1:
            return self._numbers.get(words[0], "not found")
        if command == "list" and not words:
            return " ".join(sorted(self._numbers))
        return "error: wanted set NAME NUMBER, get NAME or list"

    def _save(self, numbers: dict[str, str]) -> None:
        """A new file takes the place of the old one, so that a loss of power leaves one of the two."""
        fresh = self._file.with_suffix(".new")
        with fresh.open("w") as out:
            json.dump(numbers, out)
            out.flush()
            os.fsync(out.fileno())
        fresh.replace(self._file)
        self._numbers = numbers


def say(text: str) -> None:
    print(f"service: {text}", file=sys.stderr, flush=True)


async def serve(client_id: int, port: int, book: PhoneBook) -> None:
    async with Client(client_id, port=port, reconnect=True, on_connected=lambda: say("connected"),
                      on_lost=lambda loss: say(str(loss))) as bus:
        async for message in bus:
            try:
                answer = book.answer(message.text())
            except (ItemError, OSError) as error:
                answer = f"error: {error}"
            try:
                await bus.reply(message, answer.encode()[:MAX_PAYLOAD])
            except BusError as error:
                say(f"no answer to client {message.source}: {error}")


async def main() -> None:
    parser = argparse.ArgumentParser(description="A phone book on the bus.")
    parser.add_argument("--id", type=int, default=8, help="client id, 0 to 31 (default 8)")
    parser.add_argument("--port", type=int, default=DEFAULT_PORT, help=f"port of the server (default {DEFAULT_PORT})")
    parser.add_argument("--book", type=Path, default=Path("phonebook.json"), help="file (default phonebook.json)")
    options = parser.parse_args()
    service = asyncio.ensure_future(serve(options.id, options.port, PhoneBook(options.book)))
    for number in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(number, service.cancel)
    try:
        await service
    except asyncio.CancelledError:
        say("ended")


if __name__ == "__main__":
    asyncio.run(main())
