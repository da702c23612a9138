// node aedes_broker.mjs PORT TLS_PORT CERTIFICATES USER PASSWORD
import { readFileSync } from 'node:fs'
import { createServer } from 'node:net'
import { createServer as createTlsServer } from 'node:tls'
import { Aedes } from 'aedes'

const [port, tlsPort, certificates, user, password] = process.argv.slice(2)
const broker = await Aedes.createBroker()
broker.authenticate = (client, name, secret, done) =>
  done(null, name == null || name === user && secret?.toString() === password)
broker.authorizeSubscribe = (client, subscription, done) =>
  done(null, subscription.topic.startsWith('forbidden/') ? null : subscription)

const read = (name) => readFileSync(`${certificates}/${name}`)
createServer(broker.handle).listen(Number(port), '127.0.0.1')
createTlsServer({ key: read('server.key'), cert: read('server.pem') }, broker.handle)
  .listen(Number(tlsPort), '127.0.0.1')
