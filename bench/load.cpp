/* Does nothing: what loading a library costs is what this executes more when it is linked to one. */
int main() {
  return 0;
}
