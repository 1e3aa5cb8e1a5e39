#!/usr/bin/env node
// A client of "facefeature serve": the score of two photographs.
//
//     examples/hosts/service_client.js SOCKET PHOTO LANDMARKS PHOTO LANDMARKS
'use strict';
const fs = require('node:fs');
const net = require('node:net');

class Service {
  constructor(path) {
    this.socket = net.connect(path);
    this.received = Buffer.alloc(0);
    this.waiting = [];  // replies come in the order of the requests
    this.socket.on('data', (bytes) => {
      this.received = Buffer.concat([this.received, bytes]);
      while (this.takeReply()) {}
    });
    const end = (error) => {
      for (const {reject} of this.waiting.splice(0)) {
        reject(error || new Error('the service has closed the connection'));
      }
    };
    this.socket.on('error', end).on('close', () => end());
  }

  takeReply() {
    if (this.received.length < 8) return false;
    const headerEnd = 8 + this.received.readUInt32LE(0);
    const bodyEnd = headerEnd + this.received.readUInt32LE(4);
    if (this.received.length < bodyEnd) return false;
    const reply = JSON.parse(this.received.toString('utf8', 8, headerEnd));
    const body = this.received.subarray(headerEnd, bodyEnd);
    this.received = this.received.subarray(bodyEnd);
    const {resolve, reject} = this.waiting.shift();
    if (reply.ok) resolve({reply, body});
    else reject(new Error(`${reply.error}: ${reply.message}`));
    return true;
  }

  ask(header, body = Buffer.alloc(0)) {
    const text = Buffer.from(JSON.stringify(header));
    const prefix = Buffer.alloc(8);
    prefix.writeUInt32LE(text.length, 0);
    prefix.writeUInt32LE(body.length, 4);
    this.socket.write(Buffer.concat([prefix, text, body]));
    return new Promise((resolve, reject) => this.waiting.push({resolve, reject}));
  }

  async extract(photo, landmarks) {
    const points = JSON.parse(fs.readFileSync(landmarks, 'utf8')).landmarks;
    return (await this.ask({request: 'extract', landmarks: points}, fs.readFileSync(photo))).body;
  }

  async compare(a, b) {
    return (await this.ask({request: 'compare'}, Buffer.concat([a, b]))).reply.score;
  }
}

async function main([path, ...files]) {
  const service = new Service(path);
  const a = await service.extract(files[0], files[1]);
  const b = await service.extract(files[2], files[3]);
  console.log(await service.compare(a, b));
  service.socket.end();
}

main(process.argv.slice(2)).catch((error) => {
  console.error(error.message);
  process.exit(1);
});
