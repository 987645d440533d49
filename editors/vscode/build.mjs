// Bundles the client with what it needs of others into one file, in the folder that is named.
import {join} from 'node:path';

import {build} from 'esbuild';

await build({
    entryPoints: ['client.js'],
    bundle: true,
    minify: true,
    platform: 'node',
    format: 'cjs',
    target: ['node18'],
    external: ['vscode'],
    legalComments: 'inline',
    outfile: join(process.argv[2] ?? 'dist', 'client.js'),
    logLevel: 'warning',
});
