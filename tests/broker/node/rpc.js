// Asks the module as the RabbitMQ tutorial on remote procedure calls does, and prints each reply as
// one line of JSON.
//
//   node rpc.js URL exclusive|direct ROUTING-KEY EXCHANGE BODY [EXCHANGE BODY]…
'use strict';

const amqp = require('amqplib');

const [url, way, routingKey, ...rest] = process.argv.slice(2);

async function main() {
  const connection = await amqp.connect(url);
  const channel = await connection.createChannel();
  const replyTo = way === 'direct'
    ? 'amq.rabbitmq.reply-to'
    : (await channel.assertQueue('', {exclusive: true})).queue;

  const waiting = new Map();
  let answered;
  const done = new Promise((resolve) => { answered = resolve; });
  await channel.consume(replyTo, (message) => {
    const {correlationId, contentType, deliveryMode} = message.properties;
    const asked = waiting.get(correlationId);
    waiting.delete(correlationId);
    console.log(JSON.stringify({
      asked, correlationId, contentType, deliveryMode,
      exchange: message.fields.exchange,
      chunk: JSON.parse(message.content.toString()),
    }));
    if (waiting.size === 0) answered();
  }, {noAck: true});

  for (let i = 0; i < rest.length; i += 2) {
    const correlationId = `${Math.random()}${Math.random()}${i}`;
    waiting.set(correlationId, rest[i]);
    channel.publish(rest[i], routingKey, Buffer.from(rest[i + 1]), {correlationId, replyTo});
  }
  await done;
  await connection.close();
}

main().catch((error) => {
  console.error(error.message);
  process.exitCode = 1;
});
