// The keyboard field. Text arrives as `text` messages, the keys that edit or move as `key`
// messages with the computer's key codes. Input is read through `beforeinput`, which Android's
// keyboards send where their key events say only "Unidentified"; a composition (pinyin and the
// like) is sent once it is committed. The field itself stays empty.

export const keyCodes = {
    Enter: 36, Tab: 48, Backspace: 51, Escape: 53, Delete: 117, Home: 115, End: 119,
    PageUp: 116, PageDown: 121, ArrowLeft: 123, ArrowRight: 124, ArrowDown: 125, ArrowUp: 126,
};
const shift = 0x20000;

const inputKeys = {
    insertLineBreak: keyCodes.Enter,
    insertParagraph: keyCodes.Enter,
    deleteContentBackward: keyCodes.Backspace,
    deleteWordBackward: keyCodes.Backspace,
    deleteContentForward: keyCodes.Delete,
};

export function attachKeyboard(field, core, send) {
    let composing = false;
    const clear = () => {
        field.value = '';
    };
    const sendText = (text) => {
        if (text)
            send(core.messages.text(text));
    };

    field.addEventListener('keydown', (event) => {
        if (composing || event.isComposing || event.ctrlKey || event.metaKey || event.altKey)
            return;
        const code = keyCodes[event.key];
        if (code === undefined)
            return;
        event.preventDefault();
        send(core.messages.key(code, event.key === 'Tab' && event.shiftKey ? shift : 0));
    });
    field.addEventListener('beforeinput', (event) => {
        if (event.inputType.includes('Composition'))
            return;
        const code = inputKeys[event.inputType];
        if (event.cancelable)
            event.preventDefault();
        if (code !== undefined)
            send(core.messages.key(code, 0));
        else if (event.inputType.startsWith('insert'))
            sendText(event.data ?? event.dataTransfer?.getData('text/plain') ?? '');
    });
    field.addEventListener('compositionstart', () => {
        composing = true;
    });
    field.addEventListener('compositionend', (event) => {
        composing = false;
        sendText(event.data);
        // After the browser has put the committed text into the field.
        setTimeout(clear);
    });
    field.addEventListener('input', () => {
        if (!composing)
            clear();
    });
}
