// The browser controller: wires the surface, the buttons, the keyboard, push-to-talk and the air
// mouse to the core and the link, and shows the link's state.
import { loadCore } from './quillvane-core.mjs';
import { Connection } from './connection.js';
import * as credentials from './credential.js';
import { t, translatePage } from './i18n.js';
import { attachTrackpad } from './touch.js';
import { attachKeyboard } from './keyboard.js';
import { attachVoice } from './voice.js';
import { attachAirMouse } from './air.js';
import { attachQuick } from './quick.js';

const $ = (id) => document.getElementById(id);
translatePage();

const notice = $('notice');
function say(text, detail) {
    notice.textContent = text ? t(text) + (detail ? ` (${detail})` : '') : '';
    notice.hidden = !text;
}

async function main() {
    const token = /^#t=([A-Za-z0-9_-]{8,64})$/.exec(location.hash)?.[1] ?? null;
    if (!credentials.available()) {
        say('这个浏览器无法安全保存配对（需要 HTTPS、WebCrypto 和 IndexedDB）。');
        return;
    }
    const core = await loadCore();
    core.trackpad.configure();

    let connection;
    // Sends what the core decided and plays its haptic ticks.
    const emit = (output) => {
        for (const message of output.messages)
            connection.sendControl(message);
        if (output.haptics.length)
            navigator.vibrate?.(output.haptics.includes('start') ? 12 : 6);
    };
    let frame = 0;
    const tick = (now) => {
        frame = 0;
        emit(core.trackpad.advance(now / 1000));
        emit(core.airMouse.advance(now / 1000));
        wake();
    };
    const wake = () => {
        if (!frame && !(core.trackpad.idle() && core.airMouse.idle()))
            frame = requestAnimationFrame(tick);
    };

    // The computer's address, and its name once it proved itself.
    $('host').textContent = `${t('电脑')} · ${location.hostname}`;
    const voice = attachVoice($('talk'), core, { sendControl: (m) => connection.sendControl(m),
        sendAudio: (m) => connection.sendAudio(m), get state() { return connection.state; } }, {
        onError: say,
        onActive: (active) => {
            document.body.classList.toggle('talking', active);
            $('talk-label').textContent = t(active ? '松开发送' : '按住说话');
        },
    });
    const stateTexts = { connecting: '正在连接…', connected: '已连接', disconnected: '已断开，正在重新连接…', stopped: '已断开' };
    connection = new Connection(core, {
        token,
        onPaired: () => history.replaceState(null, '', location.pathname + location.search),
        onComputerName: (name) => {
            $('host').textContent = name;
        },
        onState: (state, text) => {
            document.body.dataset.state = state;
            $('state').textContent = t(stateTexts[state]);
            $('connect').textContent = t(state === 'stopped' ? '连接' : '断开');
            if (state !== 'connected') {
                cancelAnimationFrame(frame);
                frame = 0;
                core.trackpad.reset();
                core.airMouse.reset();
                voice.abandon();
                $('rtt').textContent = '';
            } else {
                say(null);
            }
            if (text)
                say(text);
        },
        onRoundTrip: (ms) => {
            $('rtt').textContent = t('往返 %1 毫秒', Math.round(ms));
        },
        onMessage: (message) => {
            if (message.kind === 'failure' && !message.session)
                say(message.text);
            voice.receive(message);
        },
    });

    attachTrackpad($('pad'), core, emit, wake);
    attachKeyboard($('field'), core, (m) => connection.sendControl(m));
    attachQuick({ keysBox: $('quick-keys'), inputsList: $('quick-inputs'), form: $('quick-form') }, core,
        (m) => connection.sendControl(m));
    for (const [id, which] of [['left', 'left'], ['right', 'right']]) {
        const button = $(id);
        const press = (down) => (event) => {
            event.preventDefault();
            emit(core.airMouse.button(which, down, event.timeStamp / 1000));
            wake();
        };
        button.addEventListener('pointerdown', press(true));
        button.addEventListener('pointerup', press(false));
        button.addEventListener('pointercancel', press(false));
        button.addEventListener('contextmenu', (event) => event.preventDefault());
    }

    // The pointer guide, once per mode, in the core's words of what is new.
    const guide = (mode) => {
        const { seenKey } = core.pointerGuide(mode, 'system', [...navigator.languages]);
        if (!seenKey || localStorage.getItem(seenKey))
            return;
        $('guide-text').textContent = t(mode === 'air' ? '按住左键并挥动手机来移动指针；松开即停。'
            : '单指移动指针，轻点点按，双指滑动滚动，轻点两下后拖动可拖拽。');
        $('guide').hidden = false;
        const seen = () => {
            localStorage.setItem(seenKey, '1');
            $('guide').hidden = true;
        };
        $('guide-done').onclick = seen;
        $('pad').addEventListener('touchend', seen, { once: true });
    };
    attachAirMouse($('air'), core, emit, wake, {
        onError: say,
        onChange: (on) => {
            document.body.classList.toggle('air', on);
            guide(on ? 'air' : 'trackpad');
        },
    });
    guide('trackpad');

    $('keyboard').addEventListener('click', () => {
        const open = document.body.classList.toggle('typing');
        $('keyboard').setAttribute('aria-pressed', String(open));
        if (open)
            $('field').focus();
    });
    $('connect').addEventListener('click', () => {
        if (connection.state === 'stopped') {
            connection.connect();
        } else {
            core.resume.cancel();
            connection.disconnect();
        }
    });
    // A page in the background has its timers throttled and would miss heartbeats: it lets go,
    // and connects again when it comes back if it was connected or connecting.
    document.addEventListener('visibilitychange', () => {
        if (document.visibilityState === 'hidden') {
            core.resume.suspend(connection.busy);
            connection.disconnect();
        } else if (core.resume.take()) {
            connection.connect();
        }
    });
    window.addEventListener('pagehide', () => connection.disconnect());
    connection.connect();
}

main().catch((error) => say(error.message));
