// The page's texts are written in Chinese, as the host's are, and each is its own key; the
// English comes from the host's catalogue (translations/quillvane_en.ts), built into
// texts-en.js, so the page and the host say the same sentence in the same words. The host's own
// texts that reach the page (its failures, the refusals of a WebSocket) arrive in Chinese and are
// looked up the same way.

// "english" when the browser's first language is not Chinese.
export const language = (navigator.languages?.[0] ?? navigator.language ?? '').toLowerCase().startsWith('zh')
    ? 'simplifiedChinese' : 'english';

const english = language === 'english' ? (await import('./texts-en.js')).default : {};

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
