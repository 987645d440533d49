// Tasks, triggers, console and notes.
import {engineering} from './format.js';

const byId = (id) => document.getElementById(id);
const mostListed = 100, mostKept = 20000, mostPrinted = 65536;

// How fast counts grow, from two states that are some time apart.
export class Speeds {
    constructor() {
        this.clear();
    }
    clear() {
        this.before = null;
        this.speeds = [];
    }
    add(seconds, counts) {
        if (this.before && seconds - this.before.seconds >= 0.5) {
            this.speeds = counts.map((count, i) => (count - this.before.counts[i]) / (seconds - this.before.seconds));
            this.before = {seconds, counts};
        }
        this.before ??= {seconds, counts};
        return this.speeds;
    }
}

export class Tasks {
    constructor() {
        this.speeds = new Speeds();
        this.rows = [];
    }

    show(state) {
        if (this.run !== state.run) {
            this.run = state.run;
            this.speeds.clear();
        }
        const speeds = this.speeds.add(state.seconds, state.tasks.map((task) => Math.max(task.read, task.written)));
        while (this.rows.length > state.tasks.length) this.rows.pop().remove();
        while (this.rows.length < state.tasks.length) this.addRow();
        state.tasks.forEach((task, i) => {
            const row = this.rows[i], [name, stands, speed] = row.cells;
            const place = task.line > 0 ? ` (line ${task.line}${task.element > 0 ? `, [${task.element}]` : ''})` : '';
            setText(name, task.command + place);
            row.dataset.state = task.state;
            setText(stands.firstChild, task.state);
            setText(stands.lastChild, task.text);
            setText(speed, state.phase === 'running' && speeds[i] > 0 ? engineering(speeds[i]) : '–');
        });
    }

    addRow() {
        const row = byId('taskList').insertRow();
        row.insertCell();
        const stands = row.insertCell(), state = document.createElement('span'), why = document.createElement('small');
        state.className = 'state';
        stands.append(state, why);
        row.insertCell().className = 'number';
        this.rows.push(row);
    }
}

export function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

export class Triggers {
    constructor() {
        this.events = [];  // of all triggers, in the order in which they came
        this.names = [];
        this.rate = 1;
    }

    show(state) {
        if (this.run !== state.run) {
            this.run = state.run;
            this.events = [];
            byId('eventList').replaceChildren();
        }
        this.names = state.triggers.map((trigger) => trigger.name);
        this.rate = state.rate;
        byId('events').hidden = this.names.length === 0;
        const list = byId('triggerList');
        while (list.children.length > this.names.length) list.lastChild.remove();
        while (list.children.length < this.names.length) {
            const line = document.createElement('div');
            line.className = 'trigger';
            line.append(document.createElement('span'), document.createElement('b'));
            list.append(line);
        }
        state.triggers.forEach((trigger, i) => {
            setText(list.children[i].firstChild, trigger.name);
            setText(list.children[i].lastChild, String(trigger.asserted));
        });
    }

    take(message) {
        if (message.run !== this.run) return;
        const list = byId('eventList');
        for (const position of message.positions) {
            this.events.push({trigger: message.trigger, seconds: position / this.rate});
            const line = document.createElement('li'), name = document.createElement('span'), at = document.createElement('span');
            name.textContent = this.names[message.trigger] ?? '';
            at.textContent = `${(position / this.rate).toFixed(4)} s`;
            line.append(name, at);
            list.prepend(line);
        }
        while (list.children.length > mostListed) list.lastChild.remove();
        if (this.events.length > mostKept) this.events.splice(0, this.events.length - mostKept);
    }

    between(from, to) {
        const found = [];
        for (const event of this.events) if (event.seconds >= from && event.seconds <= to) found.push({seconds: event.seconds, name: this.names[event.trigger] ?? ''});
        return found.length > 200 ? [] : found.sort((a, b) => a.seconds - b.seconds);
    }
}

export function print(text) {
    const printed = byId('printed'), isAtEnd = printed.scrollTop + printed.clientHeight >= printed.scrollHeight - 8;
    byId('console').hidden = false;
    printed.textContent = (printed.textContent + text).slice(-mostPrinted);
    if (isAtEnd) printed.scrollTop = printed.scrollHeight;
}

export function showNotes(text) {
    byId('notes').hidden = text === '';
    setText(byId('noteText'), text);
}
