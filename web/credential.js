// The browser's credential: its id and its secret as a non-extractable WebCrypto HMAC key, kept
// in IndexedDB. The raw secret lives only between the host's answer and importKey; afterwards
// nothing on the page can read it, only sign with it.

const databaseName = 'quillvane';
const storeName = 'credential';

function request(operation) {
    return new Promise((resolve, reject) => {
        operation.onsuccess = () => resolve(operation.result);
        operation.onerror = () => reject(operation.error);
    });
}

async function open() {
    const opening = indexedDB.open(databaseName, 1);
    opening.onupgradeneeded = () => opening.result.createObjectStore(storeName);
    return request(opening);
}

async function withStore(mode, body) {
    const database = await open();
    try {
        const transaction = database.transaction(storeName, mode);
        const result = await request(body(transaction.objectStore(storeName)));
        await new Promise((resolve, reject) => {
            transaction.oncomplete = resolve;
            transaction.onerror = () => reject(transaction.error);
            transaction.onabort = () => reject(transaction.error);
        });
        return result;
    } finally {
        database.close();
    }
}

export function available() {
    return globalThis.isSecureContext && !!globalThis.crypto?.subtle && !!globalThis.indexedDB;
}

// { id, key } or null.
export async function load() {
    const stored = await withStore('readonly', (store) => store.get('browser'));
    return stored && typeof stored.id === 'string' && stored.key instanceof CryptoKey ? stored : null;
}

// Turns the host's secret into a key nothing can export, stores it, and wipes the bytes.
export async function save(id, secret) {
    const key = await crypto.subtle.importKey('raw', secret, { name: 'HMAC', hash: 'SHA-256' }, false, ['sign']);
    secret.fill(0);
    await withStore('readwrite', (store) => store.put({ id, key }, 'browser'));
    return { id, key };
}

export async function forget() {
    await withStore('readwrite', (store) => store.delete('browser'));
}

const encoder = new TextEncoder();

function concat(...parts) {
    const out = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
    let offset = 0;
    for (const part of parts) {
        out.set(part, offset);
        offset += part.length;
    }
    return out;
}

// The page's proof: HMAC(secret, "quillvane-browser" || host nonce || page nonce).
export async function pageProof(key, hostNonce, pageNonce) {
    return new Uint8Array(await crypto.subtle.sign('HMAC', key,
        concat(encoder.encode('quillvane-browser'), hostNonce, pageNonce)));
}

// Whether `proof` is the host's: HMAC(secret, "quillvane-host" || page nonce || host nonce).
export async function hostProofMatches(key, hostNonce, pageNonce, proof) {
    const expected = new Uint8Array(await crypto.subtle.sign('HMAC', key,
        concat(encoder.encode('quillvane-host'), pageNonce, hostNonce)));
    let difference = expected.length ^ proof.length;
    for (let i = 0; i < Math.min(expected.length, proof.length); ++i)
        difference |= expected[i] ^ proof[i];
    return difference === 0;
}

export function toBase64(bytes) {
    let text = '';
    for (const byte of bytes)
        text += String.fromCharCode(byte);
    return btoa(text);
}

// Bytes of standard Base64, or null.
export function fromBase64(text) {
    try {
        return Uint8Array.from(atob(String(text)), (c) => c.charCodeAt(0));
    } catch {
        return null;
    }
}
