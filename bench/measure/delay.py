#!/usr/bin/python3
"""A TCP relay that only adds delay: it passes on what it reads a fixed time later, without limiting the rate.

    delay.py PORT TARGET_PORT MILLISECONDS

MILLISECONDS is the delay of one direction. Both sides are always read at once, so that no TCP window shrinks.
"""

import asyncio
import collections
import sys


class End(asyncio.Protocol):
    """One end of the line. Data received here is sent at the other end; None = the end of this direction."""

    def __init__(self, delay_s, connect=None):
        self.delay_s = delay_s
        self.connect = connect  # for a client's end: connects to the target
        self.waiting = collections.deque()
        self.other = self.transport = None

    def connection_made(self, transport):
        self.transport = transport
        transport.set_write_buffer_limits(high=1 << 40)
        if self.connect:
            asyncio.create_task(self.reach_target())

    async def reach_target(self):
        _, self.other = await self.connect(self)

    def data_received(self, data):
        self.waiting.append(data)
        asyncio.get_running_loop().call_later(self.delay_s, self.pass_on)

    def eof_received(self):
        self.data_received(None)
        return True  # the other direction continues

    def connection_lost(self, _):
        if self.other and not self.other.transport.is_closing():
            asyncio.get_running_loop().call_later(self.delay_s, self.other.transport.close)

    def pass_on(self):
        data = self.waiting.popleft()
        transport = self.other.transport
        if transport.is_closing():
            return
        if data is not None:
            transport.write(data)
            return
        try:
            transport.write_eof()
        except OSError:  # it was reset
            transport.abort()


async def relay(port, target_port, delay_s):
    loop = asyncio.get_running_loop()

    def reach(client):
        target = End(delay_s)
        target.other = client
        return loop.create_connection(lambda: target, "127.0.0.1", target_port)

    server = await loop.create_server(lambda: End(delay_s, reach), "127.0.0.1", port)
    await server.serve_forever()


if __name__ == "__main__":
    if sys.argv[1:] == ["--help"]:
        sys.exit(print(__doc__))
    asyncio.run(relay(int(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3]) / 1000))
