// The WebSocket: opened again when it is lost, also when it only falls silent.
import {decode} from './frames.js';

const silence = 3500;  // milliseconds; the server says something every second

export class Connection {
    // `onText(message)`, `onFrame(frame)`, `onState(isOpen, tries)`.
    constructor(handlers) {
        this.handlers = handlers;
        this.tries = 0;
        this.open();
        setInterval(() => this.watch(), 500);
    }

    open() {
        const socket = new WebSocket(`ws://${location.host}/live${location.search}`);
        this.socket = socket;
        socket.binaryType = 'arraybuffer';
        this.heard = performance.now();
        socket.onmessage = (event) => {
            if (socket !== this.socket) return;
            this.heard = performance.now();
            if (!this.isOpen) this.opened();
            if (typeof event.data === 'string') this.handlers.onText(JSON.parse(event.data));
            else this.handlers.onFrame(decode(event.data));
        };
        socket.onclose = () => {
            if (socket === this.socket) this.lost();
        };
    }

    opened() {
        this.isOpen = true;
        this.tries = 0;
        this.handlers.onState(true, 0);
    }

    lost() {
        this.isOpen = false;
        ++this.tries;
        this.handlers.onState(false, this.tries);
        const old = this.socket;
        this.socket = null;
        old.close();
        setTimeout(() => this.open(), Math.min(5000, 300 * 2 ** Math.min(this.tries, 5)));
    }

    watch() {
        if (this.socket !== null && performance.now() - this.heard > silence) this.lost();
    }

    send(message) {
        if (this.isOpen && this.socket.readyState === WebSocket.OPEN) this.socket.send(JSON.stringify(message));
    }
}
