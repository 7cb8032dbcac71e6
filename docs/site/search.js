// SPDX-License-Identifier: MIT
// Finds names and headings in INDEX: rows of a name, what it is, and its address.
'use strict';

const MOST = 30;
const field = document.getElementById('search');
const found = document.getElementById('found');

// Smaller is better. All words must occur.
function rank(row, words) {
    const name = row[0].toLowerCase();
    const all = name + ' ' + row[1].toLowerCase();
    if (!words.every(word => all.includes(word))) return Infinity;
    const last = name.split('::').pop();
    if (last === words[0]) return 0;
    if (last.startsWith(words[0])) return 1;
    return name.includes(words[0]) ? 2 : 3;
}

function search() {
    const words = field.value.toLowerCase().split(/\s+/).filter(word => word !== '');
    const rows = words.length === 0 ? [] : INDEX.map(row => [rank(row, words), row])
        .filter(([value]) => value < Infinity)
        .sort(([a, rowA], [b, rowB]) => a - b || rowA[0].length - rowB[0].length)
        .slice(0, MOST);
    found.replaceChildren(...rows.map(([, [name, about, address]]) => {
        const item = document.createElement('li');
        const link = item.appendChild(document.createElement('a'));
        link.href = address;
        link.append(name);
        link.appendChild(document.createElement('small')).append(about);
        return item;
    }));
    if (rows.length === 0 && words.length > 0) {
        const item = found.appendChild(document.createElement('li'));
        item.append(' Nothing found.');
    }
    found.hidden = words.length === 0;
}

field.addEventListener('input', search);
field.addEventListener('keydown', event => {
    const first = found.querySelector('a');
    if (event.key === 'Enter' && first) first.click();
    if (event.key === 'ArrowDown' && first) { first.focus(); event.preventDefault(); }
});
found.addEventListener('keydown', event => {
    const step = { ArrowDown: 'nextElementSibling', ArrowUp: 'previousElementSibling' }[event.key];
    if (!step) return;
    const next = document.activeElement.parentElement[step];
    (next ? next.querySelector('a') : field).focus();
    event.preventDefault();
});
found.addEventListener('click', () => { found.hidden = true; });
document.addEventListener('keydown', event => {
    if (event.key === 'Escape') found.hidden = true;
    if (event.key === '/' && document.activeElement !== field) { field.focus(); event.preventDefault(); }
});
document.addEventListener('click', event => {
    if (!event.target.closest('.search')) found.hidden = true;
});

// On a phone the open contents would fill the screen.
if (matchMedia('(max-width: 50rem)').matches) document.querySelector('nav details').open = false;
