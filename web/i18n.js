// The page's texts in Chinese (the source texts, as the host writes them) and English, chosen by
// the browser's language. The host's own texts (its failures, the refusals of a WebSocket) keep
// the host catalogue's words, so a person reads the same sentence on both screens.

const english = {
    // The page's own texts.
    '触控板': 'Trackpad',
    '空中鼠标': 'Air mouse',
    '左键': 'Left',
    '右键': 'Right',
    '键盘': 'Keyboard',
    '在此输入': 'Type here',
    '按住说话': 'Hold to talk',
    '松开发送': 'Release to send',
    '快捷键': 'Quick keys',
    '快速输入': 'Quick input',
    '名称': 'Name',
    '文字': 'Text',
    '添加': 'Add',
    '正在连接…': 'Connecting…',
    '已连接': 'Connected',
    '已断开，正在重新连接…': 'Disconnected, reconnecting…',
    '已断开': 'Disconnected',
    '连接': 'Connect',
    '断开': 'Disconnect',
    '正在配对…': 'Pairing…',
    '这个浏览器尚未配对：请在电脑上的 Quillvane 设置中扫描“用手机浏览器控制”的二维码。':
        'This browser is not paired yet: scan the code of “Control with a phone’s browser” in Quillvane’s settings on the computer.',
    '电脑的身份证明不正确：这可能不是你的电脑，连接已停止。':
        'The computer’s proof is wrong: this may not be your computer, so the connection was stopped.',
    '这个浏览器无法安全保存配对（需要 HTTPS、WebCrypto 和 IndexedDB）。':
        'This browser cannot keep the pairing safely (it needs HTTPS, WebCrypto and IndexedDB).',
    '空中鼠标需要动作传感器权限': 'The air mouse needs permission to use the motion sensors',
    '这个浏览器没有动作传感器': 'This browser has no motion sensors',
    '无法使用麦克风': 'The microphone cannot be used',
    '单指移动指针，轻点点按，双指滑动滚动，轻点两下后拖动可拖拽。':
        'Move one finger to move the pointer, tap to click, slide two fingers to scroll, tap twice and drag to drag.',
    '按住左键并挥动手机来移动指针；松开即停。':
        'Hold Left and swing the phone to move the pointer; let go to stop.',
    '知道了': 'Got it',
    '往返 %1 毫秒': 'round trip %1 ms',
    // Texts of the host catalogue.
    '浏览器未在时限内完成认证': 'The browser did not authenticate in time',
    '浏览器认证失败': 'The browser failed to authenticate',
    '浏览器未配对或已被撤销': 'This browser is not paired, or its pairing was revoked',
    '浏览器配对码无效或已过期': 'The browser pairing code is invalid or has expired',
    '电脑已连接其他控制端，或连接顺序错误': 'The computer is connected to another controller, or the channels connected in the wrong order',
    '电脑启动过慢，音频缓冲已满': 'The computer took too long to start; the audio buffer is full',
    '请先在电脑选择虚拟音频输出设备': 'First choose the virtual audio output device on the computer',
    '请授予辅助功能权限': 'Please give Quillvane permission to control input',
    '连接中断，已释放所有按键': 'The connection was lost; all keys and buttons were released',
    '连接尚未就绪': 'The connection is not ready yet',
    '会话握手超时': 'The session handshake timed out',
    '音频超时，已释放语音快捷键': 'Audio timed out; the voice shortcut was released',
    '上一段语音尚未结束': 'The previous voice message has not finished yet',
    '无效音频分包': 'Invalid audio chunk',
    '当前没有可用麦克风，请检查手机音频输入': 'No microphone is available; check the phone’s audio input',
    '麦克风设备已切换，请重新按住说话': 'The microphone device changed; press and hold to talk again',
    '录音引擎已停止，请重新按住说话': 'The recording engine stopped; press and hold to talk again',
    '电脑': 'Computer',
};

// "english" when the browser's first language is not Chinese.
export const language = (navigator.languages?.[0] ?? navigator.language ?? '').toLowerCase().startsWith('zh')
    ? 'simplifiedChinese' : 'english';

// The text in the page's language; `%1` takes `argument`.
export function t(source, argument) {
    const text = language === 'english' ? english[source] ?? source : source;
    return argument === undefined ? text : text.replace('%1', String(argument));
}

// Fills every element marked data-text (its text) or data-placeholder / data-label.
export function translatePage(root = document) {
    document.documentElement.lang = language === 'english' ? 'en' : 'zh-CN';
    for (const element of root.querySelectorAll('[data-text]'))
        element.textContent = t(element.dataset.text);
    for (const element of root.querySelectorAll('[data-placeholder]'))
        element.placeholder = t(element.dataset.placeholder);
    for (const element of root.querySelectorAll('[data-label]'))
        element.setAttribute('aria-label', t(element.dataset.label));
}
