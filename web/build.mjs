// Bundles the page into the folder that is named: index.html, page.js and page.css.
import {copyFile, mkdir} from 'node:fs/promises';
import {join} from 'node:path';

import {build} from 'esbuild';

const folder = process.argv[2] ?? 'dist';
await mkdir(folder, {recursive: true});
await build({
    entryPoints: ['page.js', 'page.css'],
    bundle: true,
    minify: true,
    format: 'iife',
    target: ['es2022'],
    outdir: folder,
    logLevel: 'warning',
});
// Last: its date says that all is there.
await copyFile('index.html', join(folder, 'index.html'));
