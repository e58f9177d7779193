// Run inside a client namespace by dms_connections_test.py: Node's default HTTP agent
// (keep-alive since Node 19) sending what a common SOAP client sends, "Connection: close"
// on each request, Browse after Browse. Every answer must arrive; exits non-zero otherwise.
'use strict';
const http = require('http');
const fs = require('fs');

const [host, port, description, browseFile] = process.argv.slice(2);
const browse = fs.readFileSync(browseFile);
const agent = new http.Agent({keepAlive: true});

function send(method, path, body, headers) {
  return new Promise((resolve) => {
    const options = {host, port, method, path, agent, headers: Object.assign({Connection: 'close'}, headers)};
    if (body) options.headers['Content-Length'] = body.length;
    const req = http.request(options, (res) => {
      let size = 0;
      res.on('data', (d) => { size += d.length; });
      res.on('end', () => resolve({ok: res.statusCode === 200 && size > 0, status: res.statusCode}));
    });
    req.on('error', (e) => resolve({ok: false, status: e.message}));
    req.end(body);
  });
}

(async () => {
  const soap = {SOAPAction: '"urn:schemas-upnp-org:service:ContentDirectory:1#Browse"',
                'Content-Type': 'text/xml; charset="utf-8"'};
  let failed = 0;
  const rounds = 4;
  for (let i = 0; i < rounds; i++) {
    for (const [method, path, body, headers] of [['GET', description, null, {}],
                                                 ['POST', '/ContentDirectory/control', browse, soap],
                                                 ['POST', '/ContentDirectory/control', browse, soap]]) {
      const answer = await send(method, path, body, headers);
      if (!answer.ok) {
        console.log(`${method} ${path} failed: ${answer.status}`);
        failed++;
      }
    }
  }
  agent.destroy();
  console.log(`Node's keep-alive agent: ${rounds * 3 - failed} of ${rounds * 3} answered`);
  process.exit(failed ? 1 : 0);
})();
