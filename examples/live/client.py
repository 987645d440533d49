# Prints the least and the greatest of the first pipe's last second: python3 client.py ADDRESS, as `zepl serve` has printed it.
import math, struct, sys, websocket  # Debian: python3-websocket

link = websocket.create_connection(sys.argv[1].replace("http", "ws", 1).replace("/?", "/live?"))
link.send('{"type": "look", "pipes": [0], "span": 1, "columns": 100, "pictures": 5}')
while frame := link.recv():
    if isinstance(frame, bytes):
        columns, = struct.unpack_from("<I", frame, 12)
        least, greatest = (struct.unpack_from(f"<{columns}d", frame, 80 + 8 * columns * i) for i in (0, 1))
        seen = [i for i in range(columns) if not math.isnan(least[i])]
        print(min((least[i] for i in seen), default=math.nan), max((greatest[i] for i in seen), default=math.nan))
