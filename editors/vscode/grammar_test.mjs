// Whether the grammar colours what tests/editors/colours.json says: node grammar_test.mjs COLOURS GRAMMAR CLIENT.
// The client, once bundled, has to be what the editor starts.
import {readFile} from 'node:fs/promises';
import {createRequire} from 'node:module';

import oniguruma from 'vscode-oniguruma';
import textmate from 'vscode-textmate';

const require = createRequire(import.meta.url);
const [coloursFile, grammarFile, clientFile] = process.argv.slice(2);
const scopes = {
    statement: 'keyword.control.zepl', name: 'variable.other.definition.zepl', type: 'storage.type.zepl',
    clause: 'keyword.other.zepl', text: 'string.quoted.double.zepl', number: 'constant.numeric.zepl',
    function: 'support.function.builtin.zepl', word: 'constant.language.zepl', command: 'support.function.zepl',
    task: 'entity.name.function.zepl', comment: 'comment.line.number-sign.zepl', operator: 'keyword.operator.zepl',
};

await oniguruma.loadWASM((await readFile(require.resolve('vscode-oniguruma/release/onig.wasm'))).buffer);
const registry = new textmate.Registry({
    onigLib: Promise.resolve({
        createOnigScanner: (patterns) => new oniguruma.OnigScanner(patterns),
        createOnigString: (text) => new oniguruma.OnigString(text),
    }),
    loadGrammar: async () => textmate.parseRawGrammar(await readFile(grammarFile, 'utf8'), grammarFile),
});
const grammar = await registry.loadGrammar('source.zepl');

let state = textmate.INITIAL;
let wrong = 0;
let compared = 0;
for (const [line, marks] of JSON.parse(await readFile(coloursFile, 'utf8'))) {
    const result = grammar.tokenizeLine(line, state);
    state = result.ruleStack;
    for (const [mark, kind] of Object.entries(marks)) {
        const at = line.indexOf(mark.replace('|', ''));
        const token = result.tokens.find((each) => each.startIndex <= at && at < each.endIndex);
        const inner = token.scopes.slice(1).filter((scope) => !scope.startsWith('meta.'));
        const isRight = kind === 'plain' ? inner.length === 0 : inner.includes(scopes[kind]);
        ++compared;
        if (!isRight) {
            ++wrong;
            console.error(`${line}: ${mark} is ${inner.join(' ') || 'plain'}, not ${kind}`);
        }
    }
}
if (compared === 0) throw new Error('nothing was compared');

const Module = require('node:module');
const load = Module._load;
const anything = new Proxy(class {}, {get: (target, name) => (name in target ? target[name] : anything)});
Module._load = (name, ...rest) => (name === 'vscode' ? anything : load(name, ...rest));
const client = require(clientFile);
if (typeof client.activate !== 'function' || typeof client.deactivate !== 'function') throw new Error('the client is no extension');
process.exit(wrong === 0 ? 0 : 1);
