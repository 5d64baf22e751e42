// Prints what a linter of workflows finds in a file, and fails if it finds anything. Its own
// command cannot be told what to leave out, and does not start with the node of Debian 12.
//
// usage: node .github/lint.js MODULE FILE
"use strict";

const fs = require("fs");
const path = require("path");

// The linter asks for it by its newer name.
globalThis.crypto ??= require("crypto").webcrypto;

const [, , module_, file] = process.argv;
const { runLint } = require(path.resolve(module_));
const newerThanTheLinter = /^label "macos-26(-intel)?" is unknown\./;

runLint(fs.readFileSync(file, "utf8"), file).then((results) => {
    const findings = results.filter(({ message }) => message && !newerThanTheLinter.test(message));
    for (const { line, column, message, kind } of findings) {
        console.error(`${file}:${line}:${column}: ${message} [${kind}]`);
    }
    process.exit(findings.length > 0 ? 1 : 0);
});
