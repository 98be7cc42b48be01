// The link to the host: two channels ("control" and "audio") that each prove the browser's
// credential before anything else, then bind with hello/welcome as a phone's two channels do.
// A channel is a WebSocket, or the same texts over plain HTTPS requests where the browser refuses
// the WebSocket (StreamLink).
// Heartbeats keep the session and give the round-trip time; a lost link is re-established, and a
// page that went to the background reconnects on its return by the core's resume rule.
import * as credentials from './credential.js';
import { StreamLink } from './stream.js';

const heartbeatInterval = 1000;
const stepDeadline = 5000;
const retryDelays = [500, 1000, 2000, 4000];
const unknownBrowser = '浏览器未配对或已被撤销';

// The host refused the socket, with its own reason.
export class Refused extends Error {}
// A failure after which trying again cannot help until the person acts.
export class Fatal extends Error {}

// Text frames of one socket, read one at a time.
class Frames {
    constructor(socket) {
        this.queue = [];
        this.waiting = null;
        this.closed = false;
        socket.onmessage = (event) => this.push(typeof event.data === 'string' ? event.data : '');
        socket.onclose = () => {
            this.closed = true;
            this.wake();
        };
    }
    push(text) {
        this.queue.push(text);
        this.wake();
    }
    wake() {
        const waiting = this.waiting;
        this.waiting = null;
        waiting?.();
    }
    async next() {
        const deadline = Date.now() + stepDeadline;
        while (!this.queue.length) {
            if (this.closed)
                throw new Error('closed');
            const left = deadline - Date.now();
            if (left <= 0)
                throw new Error('timeout');
            await new Promise((resolve) => {
                this.waiting = resolve;
                setTimeout(resolve, left);
            });
        }
        return this.queue.shift();
    }
    async nextJson() {
        const text = await this.next();
        try {
            return JSON.parse(text);
        } catch {
            return {};
        }
    }
}

// Resolves when the channel opens; rejects when it fails, or has not opened within the step
// deadline (it is closed then), so that a connection that hangs is given up like a refused one.
function opened(socket) {
    return new Promise((resolve, reject) => {
        const timer = setTimeout(() => {
            reject(new Error('socket timeout'));
            socket.close();
        }, stepDeadline);
        socket.onopen = () => {
            clearTimeout(timer);
            resolve();
        };
        socket.onerror = () => {
            clearTimeout(timer);
            reject(new Error('socket failed'));
        };
    });
}

export class Connection {
    // onState(state, text): "connecting", "connected", "disconnected" or "stopped";
    // onMessage(message): every WireMessage the host sends on "control"; onRoundTrip(ms).
    constructor(core, { token, onState, onMessage, onRoundTrip, onPaired, onComputerName }) {
        this.core = core;
        this.token = token;
        this.onState = onState;
        this.onComputerName = onComputerName;
        this.onMessage = onMessage;
        this.onRoundTrip = onRoundTrip;
        this.onPaired = onPaired;
        this.client = localStorage.getItem('quillvane.client') ?? crypto.randomUUID();
        localStorage.setItem('quillvane.client', this.client);
        this.sockets = [];
        this.control = null;
        this.audio = null;
        this.state = 'stopped';
        this.attempt = 0;
        this.generation = 0;
        this.retryTimer = null;
        this.heartbeatTimer = null;
        this.heartbeats = [];
        // Set once a WebSocket failed and an event stream worked in its place: this browser's
        // WebSockets are not tried again while the page lives.
        this.streams = false;
    }

    get busy() {
        return this.state === 'connecting' || this.state === 'connected';
    }

    setState(state, text) {
        this.state = state;
        this.onState(state, text);
    }

    async connect() {
        clearTimeout(this.retryTimer);
        this.teardown();
        const generation = ++this.generation;
        this.setState('connecting');
        try {
            this.control = await this.bind('control', generation);
            this.audio = await this.bind('audio', generation);
            if (generation !== this.generation)
                return;
            this.attempt = 0;
            this.heartbeats = [];
            this.heartbeatTimer = setInterval(() => this.heartbeat(), heartbeatInterval);
            this.setState('connected');
            // The first round trip at once, so the page shows the link's speed as it connects.
            this.heartbeat();
        } catch (error) {
            if (generation !== this.generation)
                return;
            this.teardown();
            if (error instanceof Fatal) {
                this.setState('stopped', error.message);
                return;
            }
            this.lost(error instanceof Refused ? error.message : undefined);
        }
    }

    // The person chose to end the session, or the page went away: nothing reconnects.
    disconnect(text) {
        ++this.generation;
        clearTimeout(this.retryTimer);
        this.teardown();
        this.setState('stopped', text);
    }

    lost(text) {
        this.teardown();
        const delay = retryDelays[Math.min(this.attempt++, retryDelays.length - 1)];
        this.setState('disconnected', text);
        const generation = this.generation;
        this.retryTimer = setTimeout(() => generation === this.generation && this.connect(), delay);
    }

    teardown() {
        clearInterval(this.heartbeatTimer);
        this.heartbeatTimer = null;
        for (const socket of this.sockets) {
            socket.onclose = null;
            socket.onmessage = null;
            socket.close();
        }
        this.sockets = [];
        this.control = null;
        this.audio = null;
    }

    sendControl(text) {
        if (text && this.state === 'connected' && this.control.readyState === this.control.OPEN)
            this.control.send(text);
    }

    sendAudio(text) {
        if (text && this.state === 'connected' && this.audio.readyState === this.audio.OPEN)
            this.audio.send(text);
    }

    heartbeat() {
        if (this.heartbeats.length > 8)
            this.heartbeats.shift();
        this.heartbeats.push(performance.now());
        this.sendControl(this.core.messages.heartbeat());
    }

    // An open channel and its frames: a WebSocket first, and an event stream if the WebSocket
    // failed before it opened. A computer that is off fails both, and nothing is learnt.
    async open(generation) {
        const attach = (socket) => {
            this.sockets.push(socket);
            return [socket, new Frames(socket)];
        };
        if (!this.streams) {
            const [socket, frames] = attach(new WebSocket(`wss://${location.host}/ws`));
            try {
                await opened(socket);
                return [socket, frames];
            } catch (error) {
                if (generation !== this.generation)
                    throw error;
            }
        }
        const [stream, frames] = attach(new StreamLink());
        await opened(stream);
        this.streams = true;
        return [stream, frames];
    }

    async bind(channel, generation) {
        const [socket, frames] = await this.open(generation);
        await this.authenticate(socket, frames);
        if (generation !== this.generation)
            throw new Error('superseded');
        socket.send(this.core.messages.hello(channel, this.client));
        const welcome = await frames.nextJson();
        if (welcome.kind !== 'welcome')
            throw new Refused(welcome.kind === 'failure' ? welcome.text : undefined);
        // From here on: a closed socket is a lost session; the host's messages go to the page.
        socket.onclose = () => generation === this.generation && this.lost();
        socket.onmessage = (event) => this.receive(event.data);
        for (const text of frames.queue)
            this.receive(text);
        return socket;
    }

    async authenticate(socket, frames) {
        const challenge = await frames.nextJson();
        const hostNonce = credentials.fromBase64(challenge.nonce);
        if (challenge.type !== 'challenge' || !hostNonce)
            throw new Error('no challenge');
        let credential = await credentials.load();
        if (this.token) {
            const token = this.token;
            this.token = null;
            socket.send(JSON.stringify({ type: 'pair', token }));
            const answer = await frames.nextJson();
            const secret = credentials.fromBase64(answer.secret);
            if (answer.type !== 'credential' || typeof answer.id !== 'string' || !secret) {
                this.onPaired(null);
                if (!credential)
                    throw new Fatal(answer.reason ?? '浏览器配对码无效或已过期');
                throw new Refused(answer.reason);
            }
            credential = await credentials.save(answer.id, secret);
            this.onPaired(credential);
        }
        if (!credential)
            throw new Fatal('这个浏览器尚未配对：请在电脑上的 Quillvane 设置中扫描“用手机浏览器控制”的二维码。');
        const pageNonce = crypto.getRandomValues(new Uint8Array(32));
        const proof = await credentials.pageProof(credential.key, hostNonce, pageNonce);
        socket.send(JSON.stringify({ type: 'prove', id: credential.id, nonce: credentials.toBase64(pageNonce),
            proof: credentials.toBase64(proof) }));
        const answer = await frames.nextJson();
        if (answer.type !== 'proven') {
            if (answer.reason === unknownBrowser) {
                await credentials.forget();
                throw new Fatal(unknownBrowser);
            }
            throw new Refused(answer.reason);
        }
        const hostProof = credentials.fromBase64(answer.proof);
        if (!hostProof || !(await credentials.hostProofMatches(credential.key, hostNonce, pageNonce, hostProof)))
            throw new Fatal('电脑的身份证明不正确：这可能不是你的电脑，连接已停止。');
        // Only a computer that proved itself names itself.
        if (typeof answer.name === 'string' && answer.name)
            this.onComputerName(answer.name);
    }

    receive(text) {
        let message;
        try {
            message = JSON.parse(text);
        } catch {
            return;
        }
        if (message.kind === 'heartbeat' && this.heartbeats.length)
            this.onRoundTrip(performance.now() - this.heartbeats.shift());
        this.onMessage(message);
    }
}
