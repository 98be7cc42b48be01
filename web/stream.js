// A channel to the host over plain HTTPS requests, for browsers that refuse a secure WebSocket to a
// self-signed certificate even once the person accepted it for the page: the host's texts come down
// an event stream, one event each, and the page's go up in POST requests. To the connection it looks
// like a WebSocket (onopen, onerror, onmessage, onclose, send, close, readyState).
//
// The stream's first event is the host's challenge, which names the link the POSTs go to: the
// channel opens when it arrives, and it is still the first message. An event stream reconnects by
// itself after an error, to a new link the page has not proved; so the first error closes it, as
// does any POST the host does not take.
const connecting = 0;
const open = 1;
const closed = 3;
const linkId = /^[A-Za-z0-9_-]{22}$/;
// The host reads at most this much in one request; a longer batch goes in several.
const maxBody = 1 << 20;
const encoder = new TextEncoder();

export class StreamLink {
    get OPEN() {
        return open;
    }

    constructor(path = '/link') {
        this.path = path;
        this.readyState = connecting;
        this.onopen = null;
        this.onerror = null;
        this.onmessage = null;
        this.onclose = null;
        this.id = null;
        // Texts waiting for the POST in flight to be answered; at most one is in flight, so
        // the host takes them in the order they were sent.
        this.queue = [];
        this.posting = false;
        this.events = new EventSource(path);
        this.events.onmessage = (event) => this.receive(event.data);
        this.events.onerror = () => this.fail();
    }

    receive(text) {
        if (this.readyState === connecting) {
            let id = null;
            try {
                id = JSON.parse(text).link;
            } catch {
                // not a challenge: handled below
            }
            if (typeof id !== 'string' || !linkId.test(id)) {
                this.fail();
                return;
            }
            this.id = id;
            this.readyState = open;
            this.onopen?.(new Event('open'));
        }
        if (this.readyState === open)
            this.onmessage?.(new MessageEvent('message', { data: text }));
    }

    // As a WebSocket's: texts sent on a channel that is not open are dropped.
    send(text) {
        if (this.readyState !== open)
            return;
        this.queue.push(String(text));
        this.post();
    }

    async post() {
        if (this.posting || !this.queue.length)
            return;
        // The texts that fit in one body, and at least one: JSON texts have no raw newline.
        let bytes = 0;
        let count = 0;
        while (count < this.queue.length) {
            bytes += encoder.encode(this.queue[count]).length + (count ? 1 : 0);
            if (count && bytes > maxBody)
                break;
            ++count;
        }
        const body = this.queue.splice(0, count).join('\n');
        this.posting = true;
        let taken = false;
        try {
            const answer = await fetch(`${this.path}/${this.id}`, { method: 'POST', body, cache: 'no-store',
                headers: { 'Content-Type': 'text/plain;charset=UTF-8' } });
            taken = answer.status === 204;
        } catch {
            // the network failed: the link is gone
        }
        this.posting = false;
        if (!taken) {
            this.fail();
            return;
        }
        if (this.readyState === open)
            this.post();
    }

    // The host ended the link, the network failed or the host refused a request.
    fail() {
        if (this.readyState === closed)
            return;
        this.shut();
        this.onerror?.(new Event('error'));
        this.onclose?.(new CloseEvent('close', { code: 1006 }));
    }

    close() {
        if (this.readyState === closed)
            return;
        // As a WebSocket's: closing one that never opened is its failure.
        if (this.readyState === connecting) {
            this.fail();
            return;
        }
        this.shut();
        this.onclose?.(new CloseEvent('close', { code: 1000, wasClean: true }));
    }

    shut() {
        this.readyState = closed;
        this.queue = [];
        this.events.close();
    }
}
