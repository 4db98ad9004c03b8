#!/usr/bin/env node
// Restores one device: driver.mjs TOOL IPSW ECID. Needs Node 18 or newer and nothing else.
import { spawn } from 'node:child_process';

const [program, ipsw, ecid] = process.argv.slice(2);
const tool = spawn(program, ['--restore', ipsw, '--ecid', ecid], {
  stdio: ['ignore', 'pipe', 'inherit'],
});
for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) process.on(signal, () => tool.kill());

// The first value of a key at any depth, which is enough for the keys below. For whole messages,
// use a property-list reader, and catch its exceptions for each message.
const find = (xml, key) =>
  xml.match(new RegExp(`<key>${key}</key>\\s*<(?:string|integer|real)>([^<]*)<`))?.[1];

let place = '', result, pending = '';
function take(xml) {
  if (result) return; // the first end counts
  const type = find(xml, 'Type');
  if (type === 'InternalError') result = `FAILED: ${find(xml, 'FailureReason') ?? find(xml, 'Description')}`;
  if (type !== 'RestoreStatus') return;
  const status = find(xml, 'Status'), progress = Number(find(xml, 'Progress'));
  if (Number(find(xml, 'Operation')) === 0 && progress === 100) {
    const hasFailed = status === 'Failed' || xml.includes('<key>Error</key>');
    result = hasFailed ? `FAILED at ${place}: ${find(xml, 'Description') ?? status}` : 'restored';
  } else {
    place = `${progress} % (${find(xml, 'TY_OperationName') ?? status})`;
    console.log(`${ecid} ${place}`);
  }
}

tool.stdout.setEncoding('utf8'); // a character may be split between two reads
tool.stdout.on('data', (text) => {
  const documents = (pending + text).split('</plist>\n');
  pending = documents.pop();
  documents.forEach(take);
});
tool.on('error', (error) => { result ??= `FAILED: ${error.message}`; });
tool.on('close', (code, signal) => {
  result ??= `FAILED: the tool ended without a result (${signal ?? `exit status ${code}`})`;
  console.log(`${ecid} ${result}`);
  process.exitCode = result === 'restored' ? 0 : 1;
});
