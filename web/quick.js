// The quick keys (three rows of one-tap keys) and the quick inputs (saved snippets typed with
// one tap), read and written in the core's stored form.

const rows = [[0, 4], [4, 8], [8, 13]];

// The stored labels are a Mac's; this computer posts a Command shortcut with Control, and says so.
const shown = (label) => label.replace(/⌘\s*/g, 'Ctrl ');

function button(label, onClick) {
    const element = document.createElement('button');
    element.type = 'button';
    element.textContent = label;
    element.addEventListener('click', onClick);
    return element;
}

export function attachQuick({ keysBox, inputsList, form }, core, send) {
    const keys = core.quickKeys(localStorage.getItem('quillvane.quickKeys'));
    localStorage.setItem('quillvane.quickKeys', keys.json);
    for (const [from, to] of rows) {
        const row = document.createElement('div');
        row.className = 'row';
        for (const key of keys.keys.slice(from, to))
            row.append(button(shown(key.label), () => send(core.messages.key(key.code, key.flags))));
        keysBox.append(row);
    }

    let inputs = core.quickInputs(localStorage.getItem('quillvane.quickInputs')).inputs;
    const show = () => {
        inputsList.replaceChildren(...inputs.map((input) => button(input.label, () => send(core.messages.text(input.text)))));
    };
    show();
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        const label = form.elements.label.value;
        const text = form.elements.text.value;
        const stored = JSON.stringify([...inputs, { id: crypto.randomUUID().toUpperCase(), label, text }]);
        // The core keeps only what is valid; what it keeps is what is stored.
        const loaded = core.quickInputs(stored);
        inputs = loaded.inputs;
        localStorage.setItem('quillvane.quickInputs', loaded.json);
        form.reset();
        show();
    });
}
