#!/usr/bin/env bash
# Makes the certificates of the TLS tests afresh in the directory $1 (emptied
# first): a test CA, a server certificate it signs for 127.0.0.1 and
# localhost, a client certificate it signs (mutual TLS), and a self-signed
# server certificate that nothing trusts. EC keys, so that it takes moments.
set -euo pipefail
dir="$1"
rm -rf "$dir"
mkdir -p "$dir"
cd "$dir"

key() { openssl ecparam -name prime256v1 -genkey -noout -out "$1" 2>/dev/null; }

key ca.key
openssl req -x509 -new -key ca.key -days 2 -subj "/CN=orv test CA" -out ca.pem \
  -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign"

sign() {  # name subject extensions
  key "$1.key"
  openssl req -new -key "$1.key" -subj "$2" -out "$1.csr"
  printf '%s\n' "$3" > "$1.ext"
  openssl x509 -req -in "$1.csr" -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile "$1.ext" \
    -out "$1.pem" 2>/dev/null
}
sign server "/CN=127.0.0.1" "subjectAltName=IP:127.0.0.1,DNS:localhost
extendedKeyUsage=serverAuth"
sign client "/CN=orv test client" "extendedKeyUsage=clientAuth"

key self.key
openssl req -x509 -new -key self.key -days 2 -subj "/CN=127.0.0.1" -out self.pem \
  -addext "subjectAltName=IP:127.0.0.1,DNS:localhost"
