// Starts `zepl lsp` for the procedures that are open.
import {window, workspace} from 'vscode';
import {LanguageClient, TransportKind} from 'vscode-languageclient/node';

let client;

export async function activate(context) {
    const start = async () => {
        const settings = workspace.getConfiguration('zepl');
        const server = {
            command: settings.get('path', 'zepl'),
            args: ['lsp', ...settings.get('arguments', [])],
            transport: TransportKind.stdio,
        };
        client = new LanguageClient('zepl', 'ZEPL', server, {documentSelector: [{language: 'zepl'}]});
        try {
            await client.start();
        } catch {
            window.showErrorMessage(`${server.command} lsp could not be started: the setting zepl.path says where zepl is`);
        }
    };
    context.subscriptions.push(workspace.onDidChangeConfiguration(async (change) => {
        if (!change.affectsConfiguration('zepl')) return;
        await deactivate();
        await start();
    }));
    await start();
}

export async function deactivate() {
    const old = client;
    client = undefined;
    if (old?.isRunning()) await old.stop();
}
